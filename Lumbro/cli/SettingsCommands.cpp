#include "cli/SettingsCommands.h"

#include "LumbroCore/Dates.h"
#include "LumbroCore/Settings.h"
#include "cli/Table.h"

#include <QDateTime>
#include <QJsonObject>

namespace lumbro::cli {

namespace {

QString valueText(const QVariant& value) {
    if (value.typeId() == QMetaType::QDateTime) {
        return dates::iso(value.toDateTime());
    }
    return value.toString();
}

QJsonValue valueJson(const QVariant& value) {
    if (value.typeId() == QMetaType::QDateTime) {
        return dates::iso(value.toDateTime());
    }
    return QJsonValue::fromVariant(value);
}

QString unknownKey(const QString& name) {
    return u"There is no setting \"%1\"; `lumbro settings list` names them all."_s.arg(name);
}

}  // namespace

Task<int> settingsList(CommandContext context) {
    Output& output = context.output;
    const Settings settings;
    QJsonObject json;
    QList<QStringList> rows;
    for (const SettingKey& key : Settings::keys()) {
        const QVariant value = settings.value(key.name);
        if (value.isValid()) {
            json.insert(key.name, valueJson(value));
        }
        rows += {key.name, Output::clean(valueText(value)), key.meaning};
    }
    if (context.arguments.wantsJson()) {
        output.printJson(json);
    } else {
        output.print(table(output,
                           {{u"SETTING"_s, false, false, Look::accent},
                            {u"VALUE"_s, false, true, Look::bold},
                            {u"MEANING"_s, false, true}},
                           rows));
    }
    co_return 0;
}

Task<int> settingsGet(CommandContext context) {
    const QString name = context.arguments.at(0);
    if (Settings::find(name) == nullptr) {
        co_return context.output.fail(unknownKey(name));
    }
    const QVariant value = Settings().value(name);
    if (context.arguments.wantsJson()) {
        context.output.printJson(value.isValid() ? QJsonObject{{name, valueJson(value)}} : QJsonObject());
    } else {
        context.output.printLine(Output::clean(valueText(value)));
    }
    co_return 0;
}

Task<int> settingsSet(CommandContext context) {
    const QString name = context.arguments.at(0);
    Settings settings;
    if (const auto set = settings.setFromText(name, context.arguments.at(1)); !set) {
        co_return context.output.fail(set.error());
    }
    const QVariant value = settings.value(name);
    if (context.arguments.wantsJson()) {
        context.output.printJson(QJsonObject{{name, valueJson(value)}});
    } else {
        context.output.printLine(u"%1 = %2"_s.arg(name, Output::clean(valueText(value))));
    }
    co_return 0;
}

}  // namespace lumbro::cli
