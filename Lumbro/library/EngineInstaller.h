#pragma once

#include <QMap>
#include <QSet>
#include <QString>
#include <QStringList>

namespace lumbro {

/// Puts the engines that come with the application into the user's folder and upgrades those that the user
/// has not touched. What it installed is remembered in ".installed.json" there.
class EngineInstaller {
  public:
    /// File name to the digests of every earlier version that was shipped.
    using PriorBuiltIns = QMap<QString, QSet<QString>>;

    EngineInstaller(QString builtIns, QString folder, PriorBuiltIns prior = priorBuiltIns());

    /// Runs once per launch, before the engines are read. A file that fails is passed over; a user's file
    /// that cannot be read is left alone.
    void install();
    /// The ".md" names among the built-in files.
    QSet<QString> builtInFiles() const;
    /// Remembers that the user deleted a built-in, so that it is never installed again.
    void markDeleted(const QString& fileName);

    /// The digests of this product's own earlier versions.
    static PriorBuiltIns priorBuiltIns();
    /// SHA-256 of the text's UTF-8 bytes in lower-case hex.
    static QString digest(const QString& text);
    /// The front matter's `version`; 1 when it is absent or no number.
    static qint64 version(const QString& text);
    /// `target` with the front matter lines of `source` whose keys it lacks, and the version of `source`. A
    /// `target` without a whole block is given back as it stands.
    static QString mergeFields(const QString& source, const QString& target);

  private:
    using Installed = QMap<QString, QString>;

    QString installedPath() const { return m_folder + QStringLiteral("/.installed.json"); }
    Installed readInstalled() const;
    void writeInstalled(const Installed& installed) const;
    void installOne(const QString& name, Installed& installed) const;
    void upgrade(const QString& name, const QString& shipped, const QString& own, Installed& installed) const;

    QString m_builtIns;
    QString m_folder;
    PriorBuiltIns m_prior;
};

}  // namespace lumbro
