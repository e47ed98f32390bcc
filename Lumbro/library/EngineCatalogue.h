#pragma once

#include "LumbroCore/Failure.h"
#include "engines/formats/Engine.h"
#include "library/EngineInstaller.h"

#include <QDateTime>
#include <QList>
#include <QMap>
#include <QString>
#include <QStringList>

#include <expected>
#include <functional>
#include <optional>

namespace lumbro {

/// What is in the user's folder of engines. The folder is the truth: every engine runs from its file there.
/// Main thread.
class EngineCatalogue {
  public:
    EngineCatalogue(const QString& builtIns, QString folder);

    /// Called after a list has changed.
    std::function<void()> onChanged;

    EngineInstaller& installer() { return m_installer; }
    const EngineInstaller& installer() const { return m_installer; }

    /// The visible and the hidden ones, each by order, then by name.
    const QList<Engine>& engines() const { return m_engines; }
    const QList<Engine>& systemEngines() const { return m_systemEngines; }
    /// "<file name>: <why>" for each file that is no engine.
    const QStringList& warnings() const { return m_warnings; }
    std::optional<Engine> engine(const QString& id) const;
    /// The engine that enhances a meeting's notes.
    std::optional<Engine> enhanceEngine() const;

    /// Reads the folder; without `force` only when a file has come, gone or changed.
    void reload(bool force);
    std::expected<Engine, Engine::LoadError> save(const QString& text, const QString& url,
                                                  const QString& renameTo);
    std::optional<Engine> create();
    void discardIfTemplate(const Engine& engine);
    Result<> remove(const Engine& engine);

    /// The text of a new engine.
    static QString templateText(const QString& id);

  private:
    /// The files' names with their dates. Finer than one date for the folder, which a file from the future or
    /// an older copy put in place would blind.
    using Listing = QMap<QString, QDateTime>;

    Listing list() const;
    QString target(const QString& url, const QString& renameTo) const;

    QString m_folder;
    EngineInstaller m_installer;
    QList<Engine> m_engines;
    QList<Engine> m_systemEngines;
    QStringList m_warnings;
    std::optional<Listing> m_stamp;
};

}  // namespace lumbro
