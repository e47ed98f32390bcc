#pragma once

#include "library/formats/LibraryTab.h"
#include "library/formats/SidebarItem.h"

#include <QList>
#include <QObject>
#include <QString>
#include <QUuid>

#include <functional>
#include <optional>

namespace lumbro {

/// A moment in a transcript to scroll to. Asking twice for the same moment scrolls twice.
struct TranscriptFocus {
    double seconds = 0;
    QUuid id = QUuid::createUuid();

    bool operator==(const TranscriptFocus&) const = default;
};

/// What the Library window shows, and the way back and forward through it. Main thread.
class LibraryState final : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString search READ search WRITE setSearch NOTIFY searchChanged)
    Q_PROPERTY(bool showResults READ showResults WRITE setShowResults NOTIFY showResultsChanged)
    Q_PROPERTY(QString askThread READ askThread WRITE setAskThread NOTIFY askThreadChanged)
    Q_PROPERTY(QString openRun READ openRun WRITE setOpenRun NOTIFY openRunChanged)

  public:
    static constexpr qsizetype maxHistory = 50;

    /// `showWindow` brings the Library window up.
    explicit LibraryState(std::function<void()> showWindow);

    /// The page that is shown; nothing before the first.
    const std::optional<SidebarItem>& selection() const { return m_selection; }
    void setSelection(const std::optional<SidebarItem>& item);
    /// Shows a page, with the given tab of a capture and a moment of its transcript, and the window.
    void navigate(const SidebarItem& item, LibraryTab tab = LibraryTab::transcript,
                  std::optional<double> focus = std::nullopt);
    /// Shows the window, with today's page when there is none.
    void open();
    /// Nothing where there is nothing to go to.
    void goBack();
    void goForward();
    const QList<SidebarItem>& back() const { return m_back; }
    const QList<SidebarItem>& forward() const { return m_forward; }

    LibraryTab tab() const { return m_tab; }
    const std::optional<TranscriptFocus>& focus() const { return m_focus; }
    const QString& search() const { return m_search; }
    /// A text other than blanks shows the results, an empty one hides them.
    void setSearch(const QString& text);
    bool showResults() const { return m_showResults; }
    void setShowResults(bool show);
    /// Id of the thread on the Ask page; empty for none.
    const QString& askThread() const { return m_askThread; }
    void setAskThread(const QString& id);
    /// Id of the action run on show; empty for none.
    const QString& openRun() const { return m_openRun; }
    void setOpenRun(const QString& id);

  Q_SIGNALS:
    void selectionChanged();
    void historyChanged();
    void tabChanged();
    void focusChanged();
    void searchChanged();
    void showResultsChanged();
    void askThreadChanged();
    void openRunChanged();

  private:
    void select(const std::optional<SidebarItem>& item);
    void travel(QList<SidebarItem>& from, QList<SidebarItem>& to);

    std::function<void()> m_showWindow;
    std::optional<SidebarItem> m_selection;
    QList<SidebarItem> m_back;
    QList<SidebarItem> m_forward;
    LibraryTab m_tab = LibraryTab::transcript;
    std::optional<TranscriptFocus> m_focus;
    QString m_search;
    bool m_showResults = false;
    QString m_askThread;
    QString m_openRun;
};

}  // namespace lumbro
