#include "apps/nox/command.h"
#include "entries/entry_registration.h"
#include "host/terminal/output.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>

namespace Nox
{

using namespace CommonNOX;

namespace
{

QString typeText(const DataEntryProperty &property)
{
    const QVariant value = property.getValue();
    return value.isValid() ? QString::fromLatin1(value.typeName()) : QStringLiteral("any");
}

std::string toJsonLine(const EntryClassInformation &information)
{
    const DataEntryPtr entry = information.create();
    QJsonArray properties;
    for (const QString &name : entry->getPropertyNames()) {
        const DataEntryProperty property = entry->getProperty(name);
        properties.append(QJsonObject{{QStringLiteral("name"), name},
                                      {QStringLiteral("type"), typeText(property)},
                                      {QStringLiteral("searchable"), property.isSearchable()},
                                      {QStringLiteral("label"), property.getDescription()}});
    }
    const QJsonObject object{{QStringLiteral("category"), information.category},
                             {QStringLiteral("version"), information.version},
                             {QStringLiteral("guid"), information.guid},
                             {QStringLiteral("properties"), properties}};
    return QJsonDocument(object).toJson(QJsonDocument::Compact).toStdString() + '\n';
}

std::string toTable(const EntryClassInformation &information, bool withProperties)
{
    const DataEntryPtr entry = information.create();
    std::string text = QStringLiteral("%1  %2  %3  %4 properties\n")
                           .arg(information.category.leftJustified(40), information.version, information.guid)
                           .arg(entry->getPropertyNames().size(), 2)
                           .toStdString();
    if (!withProperties)
        return text;
    for (const QString &name : entry->getPropertyNames()) {
        const DataEntryProperty property = entry->getProperty(name);
        text += QStringLiteral("    %1 %2 %3 %4\n")
                    .arg(name.leftJustified(36), typeText(property).leftJustified(52),
                         property.isSearchable() ? QStringLiteral("searchable") : QStringLiteral("          "),
                         property.getDescription())
                    .toStdString();
    }
    return text;
}

} // namespace

int runEntries(const QStringList &arguments)
{
    CommandLine line(QStringLiteral("entries"), QStringLiteral("[CATEGORY]"),
                     QStringLiteral("Lists the catalogue of entry classes, or the properties of one category's."),
                     QStringLiteral("nox entries nox_pd_period"));
    line.parser().addOption({QStringLiteral("output"), QStringLiteral("Form: table or jsonl (default: table)."),
                             QStringLiteral("form"), QStringLiteral("table")});
    line.parser().addOption({QStringLiteral("json"), QStringLiteral("Short for --output jsonl.")});
    if (const auto status = line.parse(arguments, 0, 1))
        return *status;
    const QString form = line.parser().value(QStringLiteral("output"));
    const bool isJson = line.parser().isSet(QStringLiteral("json")) || form == QLatin1String("jsonl");
    if (!isJson && form != QLatin1String("table"))
        line.complain(QStringLiteral("--output: \"%1\" is none of table and jsonl.").arg(form));
    if (const auto status = line.reportComplaint())
        return *status;

    auto classes = RegisteredEntryClasses();
    std::sort(classes.begin(), classes.end(), [](const auto &a, const auto &b) {
        return std::tie(a.category, a.version) < std::tie(b.category, b.version);
    });
    const QString category = line.parser().positionalArguments().value(0);
    NoxHost::Output output(stdout);
    bool isFound = false;
    for (const EntryClassInformation &information : classes) {
        if (!category.isEmpty() && information.category != category)
            continue;
        isFound = true;
        output.write(isJson ? toJsonLine(information) : toTable(information, !category.isEmpty()));
    }
    output.flush();
    if (!isFound)
        printMessage(QStringLiteral("there is no category \"%1\".").arg(category));
    else if (!output.getError().isEmpty())
        printMessage(QStringLiteral("the catalogue cannot be written: %1.").arg(output.getError()));
    return isFound && output.getError().isEmpty() ? Done : Failed;
}

} // namespace Nox
