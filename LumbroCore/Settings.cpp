#include "LumbroCore/Settings.h"

#include "LumbroCore/AppLog.h"
#include "LumbroCore/AtomicFile.h"
#include "LumbroCore/Dates.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

#include <array>

namespace lumbro {

namespace {

using Type = SettingKey::Type;

SettingKey flag(const char* name, bool fallback, const char* meaning) {
    return {QString::fromLatin1(name), Type::boolean, fallback, QString::fromUtf8(meaning)};
}

SettingKey number(const char* name, int fallback, const char* meaning) {
    return {QString::fromLatin1(name), Type::integer, fallback, QString::fromUtf8(meaning)};
}

SettingKey text(const char* name, const char* fallback, const char* meaning) {
    const QVariant value = fallback == nullptr ? QVariant() : QVariant(QString::fromUtf8(fallback));
    return {QString::fromLatin1(name), Type::string, value, QString::fromUtf8(meaning)};
}

SettingKey date(const char* name, const char* meaning) {
    return {QString::fromLatin1(name), Type::date, {}, QString::fromUtf8(meaning)};
}

std::optional<QVariant> parsed(Type type, const QString& text) {
    switch (type) {
        case Type::boolean: {
            const QString lower = text.toLower();
            if (lower == u"true" || lower == u"on" || lower == u"yes" || lower == u"1") {
                return QVariant(true);
            }
            if (lower == u"false" || lower == u"off" || lower == u"no" || lower == u"0") {
                return QVariant(false);
            }
            return std::nullopt;
        }
        case Type::integer: {
            bool ok = false;
            const int value = text.toInt(&ok);
            return ok ? std::optional(QVariant(value)) : std::nullopt;
        }
        case Type::date: {
            const auto value = dates::fromIso(text);
            return value ? std::optional(QVariant(*value)) : std::nullopt;
        }
        case Type::string:
            return QVariant(text);
    }
    return std::nullopt;
}

QString expected(Type type) {
    switch (type) {
        case Type::boolean:
            return u"true or false"_s;
        case Type::integer:
            return u"a whole number"_s;
        case Type::date:
            return u"a date such as 2026-03-02T13:30:00Z"_s;
        case Type::string:
            return u"a text"_s;
    }
    return {};
}

QString userFile() {
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + u"/Lumbro/Lumbro.ini"_s;
}

}  // namespace

Settings::Settings() : Settings(userFile()) {}

Settings::Settings(const QString& path) {
    openFile(path);
}

Settings::~Settings() = default;

void Settings::openFile(const QString& path) {
    makePrivateFolder(QFileInfo(path).absolutePath());
    m_file = std::make_unique<QSettings>(path, QSettings::IniFormat);
    if (m_file->status() == QSettings::FormatError) {
        // QSettings would overwrite what it cannot read at the next write.
        const QString kept = path + u".broken"_s;
        QFile::remove(kept);
        QFile::copy(path, kept);
        AppLog::error(u"settings"_s,
                      u"can't read %1; using defaults. The old file is kept as %2"_s.arg(path, kept));
    }
}

QString Settings::path() const {
    return m_file->fileName();
}

QVariant Settings::value(const QString& name) const {
    const SettingKey* key = find(name);
    if (key == nullptr) {
        return {};
    }
    const QVariant stored = m_file->value(name);
    if (stored.isValid()) {
        if (const auto value = parsed(key->type, stored.toString())) {
            return *value;
        }
    }
    return key->fallback;
}

void Settings::set(const QString& name, const QVariant& value) {
    if (value.isValid()) {
        const bool isDate = value.typeId() == QMetaType::QDateTime;
        m_file->setValue(name, isDate ? QVariant(dates::iso(value.toDateTime())) : value);
    } else {
        m_file->remove(name);
    }
    m_file->sync();
    QFile::setPermissions(m_file->fileName(), QFile::ReadOwner | QFile::WriteOwner);
}

Result<> Settings::setFromText(const QString& name, const QString& text) {
    const SettingKey* key = find(name);
    if (key == nullptr) {
        return fail(FailureKind::notFound,
                    u"There is no setting \"%1\"; `lumbro settings list` names them all."_s.arg(name));
    }
    const auto value = parsed(key->type, text);
    if (!value) {
        return fail(u"%1 takes %2, not \"%3\"."_s.arg(name, expected(key->type), text));
    }
    set(name, *value);
    if (m_file->status() != QSettings::NoError) {
        return fail(u"The settings file %1 can't be written."_s.arg(path()));
    }
    return {};
}

std::span<const SettingKey> Settings::keys() {
    static const std::array table{
        flag("onboarded", false, "onboarding is finished"),
        text("selectedVoiceID", nullptr, "the writing voice, by its id"),
        text("aiProvider", "claude", "who writes notes, titles and answers: claude or codex"),
        text("claudeExecutablePath", nullptr, "remembered path of claude"),
        text("codexExecutablePath", nullptr, "remembered path of codex"),
        text("customCommand", "", "a command line that answers in place of the agent; empty means off"),
        text("microphoneDeviceUID", "", "the chosen microphone; empty means the system default"),
        flag("systemAudioAllowed", false, "the last probe heard the system's audio"),
        text("speechModel", "", "the speech model in use; empty means the best one installed"),
        text("speechMirror", "", "address that replaces the usual one for speech model downloads"),
        flag("offerCallCapture", true, "offer to record when a call starts"),
        flag("autoRecordCalls", false, "record a call without asking"),
        flag("meetingPrepEnabled", true, "prepare a brief before meetings"),
        flag("dailyIdeasEnabled", true, "look for content ideas every evening"),
        number("dailyIdeasMinute", 1020, "minute of the day of the evening pass"),
        text("dailyIdeasLastRun", nullptr, "last day of the evening pass"),
        flag("promiseRemindersEnabled", true, "remind of promises every morning"),
        number("promiseRemindersMinute", 540, "minute of the day of the reminder"),
        text("promiseRemindersLastDay", nullptr, "last day reminded"),
        flag("claudeSessionsEnabled", false, "import the chats with Claude Code"),
        date("claudeSessionsLastImport", "time of the last chat import"),
        text("ownEmail", nullptr, "your address"),
        flag("librarySidebarShown", true, "the Library shows its sidebar"),
        text("slideStyle", "tweet", "slides look: tweet or bold"),
        text("slideGround", "black", "ground of the slides"),
        text("slideName", "", "name on the slides"),
        text("slideHandle", "", "handle on the slides"),
        flag("slideVerified", false, "check mark beside the name on the slides"),
    };
    return table;
}

const SettingKey* Settings::find(const QString& name) {
    const auto all = keys();
    const auto found = std::ranges::find(all, name, &SettingKey::name);
    return found == all.end() ? nullptr : &*found;
}

}  // namespace lumbro
