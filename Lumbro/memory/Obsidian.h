#pragma once

#include <QString>
#include <QStringList>
#include <QUrl>

#include <functional>

namespace lumbro {

/// Opens pages of the memory in the outside tool of that name.
class Obsidian {
  public:
    /// What the desktop does for it.
    struct Ports {
        /// True when the application is installed.
        std::function<bool()> isInstalled;
        /// Hands an address to the desktop's default opener. False when there is none.
        std::function<bool(const QUrl& url)> open;
        /// Starts the application.
        std::function<void()> start;
        /// Selects a folder in the file viewer.
        std::function<void(const QString& folder)> reveal;
    };
    enum class Outcome {
        /// The page was handed to the application.
        opened,
        /// The application is not there: the page was handed to the default opener.
        openedElsewhere,
        /// No vault of the application holds the page; the user is to be told how to add one.
        notInVault,
        /// There is no desktop to hand the page to.
        failed,
    };
    /// The explanation for `notInVault`.
    struct Explanation {
        QString title;
        QString body;
        QString accept;
        QString cancel;

        bool operator==(const Explanation&) const = default;
    };

    /// `library` is the library's folder, `home` the user's.
    Obsidian(Ports ports, QString library, QString home);

    Outcome open(const QString& page) const;
    Explanation explanation() const;
    /// The user accepted the explanation: starts the application and shows the library's folder.
    void addVault() const;

    /// True when a desktop entry or program of the application, as a package, Flatpak or Snap, is found in
    /// the folders. `dataFolders` are those that hold "applications", `programFolders` those of PATH.
    static bool isInstalled(const QStringList& dataFolders, const QStringList& programFolders);

  private:
    QStringList vaults() const;

    Ports m_ports;
    QString m_library;
    QString m_home;
};

}  // namespace lumbro
