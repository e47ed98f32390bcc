#pragma once

#include "LumbroCore/Failure.h"

#include <QSettings>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <functional>
#include <memory>
#include <span>

namespace lumbro {

/// One setting: its key, type and default (an invalid default means "none").
struct SettingKey {
    enum class Type { boolean, integer, string, date };

    QString name;
    Type type = Type::string;
    QVariant fallback;
    /// One line for people: what it does and which values it takes.
    QString meaning;
    /// The texts that it takes; empty when it takes any.
    QStringList choices = {};
    /// The numbers that it takes, where those are few: from `least` to `most`.
    int least = 0;
    int most = 0;
};

/// All user settings: one INI file at the XDG place, mode 0600. Services read a setting each time they need
/// it, so a change takes effect at its next use. Main thread only.
class Settings {
  public:
    /// Called with a sentence for the user where the file is there and can't be read whole, which the log
    /// has too. Empty at first; for a program's start to set.
    static std::function<void(const QString& sentence)>& onDamage();

    /// The user's file, `$XDG_CONFIG_HOME/Lumbro/Lumbro.ini`.
    Settings();
    explicit Settings(const QString& path);
    ~Settings();

    /// Every setting there is, in the order of the table in the documentation.
    static std::span<const SettingKey> keys();
    static const SettingKey* find(const QString& name);

    /// The stored value when there is one that the setting takes, else the default; invalid when there is
    /// neither.
    QVariant value(const QString& name) const;
    bool boolean(const QString& name) const { return value(name).toBool(); }
    int integer(const QString& name) const { return value(name).toInt(); }
    QString string(const QString& name) const { return value(name).toString(); }

    /// Stores the value and writes the file. An invalid value removes the key. Of a file that could not be
    /// read whole a copy is kept, as `keepBrokenCopy` does; where it can't be, nothing is written and it is
    /// logged.
    void set(const QString& name, const QVariant& value);
    /// Reads `text` as a value of the setting and stores it. Fails with a sentence on an unknown key, a text
    /// that does not fit, which names those that do, and a file that can't be written.
    Result<> setFromText(const QString& name, const QString& text);

    QString path() const;

  private:
    bool keepDamaged() const;
    QVariant stored(const QString& name) const;

    std::unique_ptr<QSettings> m_file;
};

}  // namespace lumbro
