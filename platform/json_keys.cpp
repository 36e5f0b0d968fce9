#include "platform/json_keys.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>
#include <cstring>
#include <string_view>
#include <vector>

namespace Shared
{

namespace
{

/// Goes over a text from string to string and bracket to bracket.
class KeyScanner
{
public:
    explicit KeyScanner(const QByteArray &json) : m_place(json.begin()), m_end(json.end()) {}

    std::optional<QByteArray> findRepeated();

private:
    /// What stands between the quotes of the string that begins here; goes behind it.
    std::string_view takeString();
    bool isColonNext();
    std::optional<QByteArray> closeObject();

    const char *m_place;
    const char *const m_end;
    std::vector<std::string_view> m_keys;    // of all open objects, one behind the other
    std::vector<std::size_t> m_beginnings;   // of each open object in them
    std::vector<QByteArray> m_unescapedKeys; // of the object that is closed
};

std::string_view KeyScanner::takeString()
{
    const char *const begin = ++m_place;
    while (m_place < m_end) {
        const auto *quote = static_cast<const char *>(std::memchr(m_place, '"', std::size_t(m_end - m_place)));
        if (!quote)
            break;
        const char *escapes = quote;
        while (escapes > begin && escapes[-1] == '\\')
            --escapes;
        m_place = quote + 1;
        if ((quote - escapes) % 2 == 0)
            return {begin, std::size_t(quote - begin)};
    }
    m_place = m_end;
    return {begin, std::size_t(m_end - begin)};
}

bool KeyScanner::isColonNext()
{
    while (m_place < m_end && (*m_place == ' ' || *m_place == '\t' || *m_place == '\n' || *m_place == '\r'))
        ++m_place;
    return m_place < m_end && *m_place == ':';
}

std::optional<QByteArray> KeyScanner::closeObject()
{
    if (m_beginnings.empty())
        return std::nullopt;
    const auto begin = m_keys.begin() + std::ptrdiff_t(m_beginnings.back());
    m_unescapedKeys.clear();
    // The same name may be written in several ways. Views of these stay, as their number does not grow any more.
    m_unescapedKeys.reserve(std::size_t(m_keys.end() - begin));
    for (auto key = begin; key != m_keys.end(); ++key) {
        if (key->find('\\') == std::string_view::npos)
            continue;
        const QByteArray text = "[\"" + QByteArray(key->data(), int(key->size())) + "\"]";
        m_unescapedKeys.push_back(QJsonDocument::fromJson(text).array().at(0).toString().toUtf8());
        *key = {m_unescapedKeys.back().constData(), std::size_t(m_unescapedKeys.back().size())};
    }
    std::sort(begin, m_keys.end());
    const auto repeated = std::adjacent_find(begin, m_keys.end());
    std::optional<QByteArray> found;
    if (repeated != m_keys.end())
        found = QByteArray(repeated->data(), int(repeated->size()));
    m_keys.erase(begin, m_keys.end());
    m_beginnings.pop_back();
    return found;
}

std::optional<QByteArray> KeyScanner::findRepeated()
{
    while (m_place < m_end) {
        switch (*m_place) {
        case '"': {
            const std::string_view text = takeString();
            if (!m_beginnings.empty() && isColonNext())
                m_keys.push_back(text);
            break;
        }
        case '{':
            m_beginnings.push_back(m_keys.size());
            ++m_place;
            break;
        case '}':
            if (auto repeated = closeObject())
                return repeated;
            ++m_place;
            break;
        default:
            ++m_place;
        }
    }
    return std::nullopt;
}

} // namespace

std::optional<QByteArray> FindRepeatedJsonKey(const QByteArray &json)
{
    return KeyScanner(json).findRepeated();
}

} // namespace Shared
