#include "cli/SettingsCommands.h"

#include "LumbroCore/Clock.h"
#include "LumbroCore/Dates.h"
#include "LumbroCore/Settings.h"
#include "cli/Table.h"
#include "platform/linux/desktop/DefaultCalendar.h"
#include "platform/linux/desktop/OpenOrganizer.h"

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

/// Why a calendar can't be the one for new events; empty where it can, and for other settings.
Task<QString> wrongCalendar(Settings* settings, QString name, QString text) {
    if (name != u"calendarDefault" || text.isEmpty()) {
        co_return QString();
    }
    SystemClock clock;
    const auto organizer = openOrganizer(*settings, clock);
    if (co_await organizer->open() == CalendarAccess::denied) {
        co_return organizer->whyNoAccess();
    }
    const auto found = defaultCalendar::named(organizer->calendars(), text);
    co_return found ? QString() : found.error().message;
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
    if (const QString wrong = co_await wrongCalendar(&settings, name, context.arguments.at(1));
        !wrong.isEmpty()) {
        co_return context.output.fail(wrong);
    }
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
