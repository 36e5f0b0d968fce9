#include "apps/nox/replay_options.h"

namespace Nox
{

namespace
{

const QString SpanOption = QStringLiteral("span");
const QString ChannelOption = QStringLiteral("channel");

} // namespace

void ReplayOptions::addTo(CommandLine &line)
{
    line.parser().addOptions(
        {{SpanOption,
          QStringLiteral("Only periods that start in these seconds of the recording, TO not included; either side may "
                         "be empty."),
          QStringLiteral("FROM:TO")},
         {ChannelOption, QStringLiteral("Only these channels; several separated by commas."),
          QStringLiteral("number")}});
}

ReplayOptions::ReplayOptions(CommandLine &line)
{
    const QCommandLineParser &parser = line.parser();
    if (parser.isSet(SpanOption) && !NoxHost::readSpan(parser.value(SpanOption), m_selection))
        line.complain(QStringLiteral("--span: \"%1\" is not FROM:TO in whole seconds.").arg(parser.value(SpanOption)));
    if (parser.isSet(ChannelOption) && !NoxHost::readChannels(parser.value(ChannelOption), m_selection))
        line.complain(
            QStringLiteral("--channel: \"%1\" is not the number of a channel.").arg(parser.value(ChannelOption)));
}

} // namespace Nox
