#include "entries/wildcard.h"

#include <QHash>
#include <QVector>

#include <utility>
#include <vector>

namespace CommonNOX
{

namespace
{

/// One place of the pattern that consumes exactly one character.
struct Place
{
    enum Kind { Literal, Any, Set } kind = Literal;
    uint character = 0;
    bool negated = false;
    std::vector<std::pair<uint, uint>> ranges = {};

    bool accepts(uint c) const
    {
        if (kind == Any)
            return true;
        if (kind == Literal)
            return c == character;
        bool inside = false;
        for (const auto &[first, last] : ranges)
            inside = inside || (first <= c && c <= last);
        return inside != negated;
    }
};

struct Pattern
{
    std::vector<Place> places;
    std::vector<bool> starBefore; // one more than places: a star may stand at the end
};

/// The index behind the closing bracket of the set that opens at `open`, or 0 when it is never closed.
int parseSet(const QVector<uint> &text, int open, Place &place)
{
    int i = open + 1;
    place.kind = Place::Set;
    if (i < text.size() && (text[i] == '!' || text[i] == '^')) {
        place.negated = true;
        ++i;
    }
    for (const int first = i; i < text.size(); ++i) {
        if (text[i] == ']' && i != first)
            return i + 1;
        const bool isRange = i + 2 < text.size() && text[i + 1] == '-' && text[i + 2] != ']';
        place.ranges.emplace_back(text[i], isRange ? text[i + 2] : text[i]);
        if (isRange)
            i += 2;
    }
    return 0;
}

Pattern parsePattern(const QVector<uint> &text)
{
    Pattern pattern;
    bool star = false;
    // Once a set is not closed, no later one is: looking again would cost the square of the length.
    bool closable = true;
    for (int i = 0; i < text.size();) {
        if (text[i] == '*') {
            star = true;
            ++i;
            continue;
        }
        Place place{text[i] == '?' ? Place::Any : Place::Literal, text[i]};
        int next = i + 1;
        if (text[i] == '[' && closable) {
            Place set;
            if (const int behind = parseSet(text, i, set)) {
                place = std::move(set);
                next = behind;
            } else {
                closable = false;
            }
        }
        pattern.places.push_back(std::move(place));
        pattern.starBefore.push_back(std::exchange(star, false));
        i = next;
    }
    pattern.starBefore.push_back(star);
    return pattern;
}

} // namespace

bool MatchesWildcard(const QString &pattern, const QString &text)
{
    const Pattern parsed = parsePattern(pattern.toUcs4());
    const std::size_t states = parsed.starBefore.size();
    const std::size_t words = states / 64 + 1;
    const auto setBit = [](std::vector<quint64> &bits, std::size_t i) { bits[i / 64] |= quint64(1) << (i % 64); };

    // Bit i: the first i places have matched. All states advance together, 64 to a word.
    std::vector<quint64> active(words), stars(words);
    setBit(active, 0);
    for (std::size_t i = 0; i < states; ++i) {
        if (parsed.starBefore[i])
            setBit(stars, i);
    }

    QHash<uint, std::vector<quint64>> accepting;
    const auto characters = text.toUcs4();
    for (const uint c : characters) {
        auto accepted = accepting.find(c);
        if (accepted == accepting.end()) {
            std::vector<quint64> bits(words);
            for (std::size_t i = 0; i < parsed.places.size(); ++i) {
                if (parsed.places[i].accepts(c))
                    setBit(bits, i);
            }
            accepted = accepting.insert(c, std::move(bits));
        }
        quint64 carry = 0;
        quint64 alive = 0;
        for (std::size_t w = 0; w < words; ++w) {
            const quint64 moved = active[w] & (*accepted)[w];
            active[w] = (moved << 1) | carry | (active[w] & stars[w]);
            carry = moved >> 63;
            alive |= active[w];
        }
        if (alive == 0)
            return false;
    }
    return (active[(states - 1) / 64] >> ((states - 1) % 64)) & 1;
}

} // namespace CommonNOX
