#include "LumbroCore/Settings.h"

#include "LumbroCore/AppLog.h"
#include "LumbroCore/AtomicFile.h"
#include "LumbroCore/BrokenCopy.h"
#include "LumbroCore/Dates.h"
#include "LumbroCore/ShellWords.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>
#include <QUrl>

#include <algorithm>
#include <array>

namespace lumbro {

namespace {

using Type = SettingKey::Type;

SettingKey flag(const char* name, bool fallback, const char* meaning) {
    return {QString::fromLatin1(name), Type::boolean, fallback, QString::fromUtf8(meaning)};
}

SettingKey minute(const char* name, int fallback, const char* meaning) {
    SettingKey key{QString::fromLatin1(name), Type::integer, fallback, QString::fromUtf8(meaning)};
    key.most = 24 * 60 - 1;
    return key;
}

SettingKey text(const char* name, const char* fallback, const char* meaning) {
    const QVariant value = fallback == nullptr ? QVariant() : QVariant(QString::fromUtf8(fallback));
    return {QString::fromLatin1(name), Type::string, value, QString::fromUtf8(meaning)};
}

SettingKey choice(const char* name, const QStringList& choices, const char* meaning) {
    SettingKey key = text(name, choices.first().toUtf8().constData(), meaning);
    key.choices = choices;
    return key;
}

SettingKey date(const char* name, const char* meaning) {
    return {QString::fromLatin1(name), Type::date, {}, QString::fromUtf8(meaning)};
}

std::optional<QVariant> parsed(const SettingKey& key, const QString& text) {
    switch (key.type) {
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
            const bool fits = key.least >= key.most || (value >= key.least && value <= key.most);
            return ok && fits ? std::optional(QVariant(value)) : std::nullopt;
        }
        case Type::date: {
            const auto value = dates::fromIso(text);
            return value ? std::optional(QVariant(*value)) : std::nullopt;
        }
        case Type::string:
            return key.choices.isEmpty() || key.choices.contains(text) ? std::optional(QVariant(text))
                                                                       : std::nullopt;
    }
    return std::nullopt;
}

QString expected(const SettingKey& key) {
    switch (key.type) {
        case Type::boolean:
            return u"true or false"_s;
        case Type::integer:
            return key.least < key.most ? u"a whole number from %1 to %2"_s.arg(key.least).arg(key.most)
                                        : u"a whole number"_s;
        case Type::date:
            return u"a date such as 2026-03-02T13:30:00Z"_s;
        case Type::string:
            return key.choices.isEmpty() ? u"a text"_s : key.choices.join(u" or "_s);
    }
    return {};
}

QString userFile() {
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + u"/Lumbro/Lumbro.ini"_s;
}

bool isSettingsLine(const QByteArray& line) {
    const auto isStray = [](char c) { return static_cast<unsigned char>(c) < 0x20 && c != '\t'; };
    return !std::ranges::any_of(line, isStray) &&
           (line.isEmpty() || line.startsWith(';') || line.contains('=') ||
            (line.startsWith('[') && line.endsWith(']')));
}

/// Whether the file holds what no settings file does: QSettings would leave it out, or make something else of
/// it, when it writes the file.
bool isDamaged(const QString& path) {
    const auto bytes = readFile(path);
    if (!bytes) {
        return QFileInfo::exists(path);
    }
    const QByteArrayList lines = bytes->split('\n');
    return !QByteArrayView(*bytes).isValidUtf8() ||
           !std::ranges::all_of(lines, [](const QByteArray& line) { return isSettingsLine(line.trimmed()); });
}

/// The text of a value as it stands in the file, for one with commas and without quotes: QSettings takes that
/// for a list and drops the blanks in it.
QString rawText(const QString& path, const QString& name, const QStringList& list) {
    const QByteArray start = name.toUtf8() + '=';
    for (const QByteArray& line : readFile(path).value_or(QByteArray()).split('\n')) {
        if (line.startsWith(start) && !line.contains('"') && !line.contains('\\') && !line.contains(';')) {
            return QString::fromUtf8(line.sliced(start.size())).trimmed();
        }
    }
    return list.join(u", "_s);
}

bool isWebAddress(const QString& text) {
    const QUrl url(text, QUrl::StrictMode);
    return url.isValid() && !url.host().isEmpty() && (url.scheme() == u"https" || url.scheme() == u"http");
}

}  // namespace

Settings::Settings() : Settings(userFile()) {}

Settings::Settings(const QString& path) {
    makePrivateFolder(QFileInfo(path).absolutePath());
    m_file = std::make_unique<QSettings>(path, QSettings::IniFormat);
    if (!isDamaged(path)) {
        return;
    }
    const QString sentence =
        u"The settings file %1 can't be read whole; what is lost has its default. %2"_s.arg(
            path, keepDamaged() ? u"A copy of it is kept beside it."_s : u"It stays as it is."_s);
    AppLog::error(u"settings"_s, sentence);
    if (onDamage()) {
        onDamage()(sentence);
    }
}

std::function<void(const QString&)>& Settings::onDamage() {
    static std::function<void(const QString&)> callback;
    return callback;
}

Settings::~Settings() = default;

/// False when a change would lose something for good.
bool Settings::keepDamaged() const {
    return !isDamaged(path()) || keepBrokenCopy(path());
}

QString Settings::path() const {
    return m_file->fileName();
}

QVariant Settings::value(const QString& name) const {
    const SettingKey* key = find(name);
    if (key == nullptr) {
        return {};
    }
    const QVariant found = stored(name);
    const auto value = found.isValid() ? parsed(*key, found.toString()) : std::nullopt;
    return value.value_or(key->fallback);
}

QVariant Settings::stored(const QString& name) const {
    const QVariant value = m_file->value(name);
    return value.typeId() == QMetaType::QStringList ? rawText(path(), name, value.toStringList()) : value;
}

void Settings::set(const QString& name, const QVariant& value) {
    if (!keepDamaged()) {
        AppLog::error(u"settings"_s, u"%1 stays as it was: no copy of %2 can be made"_s.arg(name, path()));
        return;
    }
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
    const auto value = parsed(*key, text);
    if (!value) {
        return fail(u"%1 takes %2, not \"%3\"."_s.arg(name, expected(*key), text));
    }
    if (name == u"customCommand" && !shellWords(text)) {
        return fail(
            u"customCommand takes a command line whose quotes are closed and that doesn't end in \\."_s);
    }
    if (name == u"speechMirror" && !text.isEmpty() && !isWebAddress(text)) {
        return fail(
            u"speechMirror takes an address that begins with https:// or http://, not \"%1\"."_s.arg(text));
    }
    if (!keepDamaged()) {
        return fail(u"The settings file %1 can't be read, and no copy of it can be made; move it away."_s.arg(
            path()));
    }
    set(name, *value);
    if (m_file->status() == QSettings::AccessError) {
        return fail(u"The settings file %1 can't be written."_s.arg(path()));
    }
    return {};
}

std::span<const SettingKey> Settings::keys() {
    static const std::array table{
        flag("onboarded", false, "onboarding is finished"),
        text("selectedVoiceID", nullptr, "the writing voice, by its id"),
        choice("aiProvider", {u"claude"_s, u"codex"_s},
               "who writes notes, titles and answers: claude or codex"),
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
        minute("dailyIdeasMinute", 1020, "minute of the day of the evening pass: 0 to 1439"),
        text("dailyIdeasLastRun", nullptr, "last day of the evening pass"),
        flag("promiseRemindersEnabled", true, "remind of promises every morning"),
        minute("promiseRemindersMinute", 540, "minute of the day of the reminder: 0 to 1439"),
        text("promiseRemindersLastDay", nullptr, "last day reminded"),
        flag("claudeSessionsEnabled", false, "import the chats with Claude Code"),
        date("claudeSessionsLastImport", "time of the last chat import"),
        text("ownEmail", nullptr, "your address"),
        choice("calendarSource", {u"folder"_s, u"evolution"_s},
               "where calendars and tasks are: folder, or evolution (GNOME's calendars)"),
        text("calendarFolder", "",
             "folder of calendars, one file per item; empty means where other programs keep theirs"),
        text("calendarDefault", "",
             "the calendar that new events go to, by its name; empty means khal's or Evolution's"),
        flag("librarySidebarShown", true, "the Library shows its sidebar"),
        choice("slideStyle", {u"tweet"_s, u"bold"_s}, "slides look: tweet or bold"),
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
