#include "library/model/LibraryState.h"

#include "LumbroCore/Text.h"

#include <utility>

namespace lumbro {

LibraryState::LibraryState(std::function<void()> showWindow) : m_showWindow(std::move(showWindow)) {}

void LibraryState::setSelection(const std::optional<SidebarItem>& item) {
    if (item == m_selection) {
        return;
    }
    if (m_selection) {
        m_back.append(*m_selection);
        if (m_back.size() > maxHistory) {
            m_back.removeFirst();
        }
        m_forward.clear();
        Q_EMIT historyChanged();
    }
    select(item);
}

void LibraryState::navigate(const SidebarItem& item, LibraryTab tab, std::optional<double> focus) {
    setShowResults(false);
    setSelection(item);
    if (std::exchange(m_tab, tab) != tab) {
        Q_EMIT tabChanged();
    }
    if (tab == LibraryTab::transcript && focus) {
        m_focus = TranscriptFocus{*focus};
        Q_EMIT focusChanged();
    }
    m_showWindow();
}

void LibraryState::open() {
    if (!m_selection) {
        setSelection(SidebarItem{SidebarItem::Kind::today, {}});
    }
    m_showWindow();
}

void LibraryState::goBack() {
    travel(m_back, m_forward);
}

void LibraryState::goForward() {
    travel(m_forward, m_back);
}

void LibraryState::setSearch(const QString& text) {
    if (std::exchange(m_search, text) != text) {
        Q_EMIT searchChanged();
        setShowResults(!trimmedBlanks(text).isEmpty());
    }
}

void LibraryState::setShowResults(bool show) {
    if (std::exchange(m_showResults, show) != show) {
        Q_EMIT showResultsChanged();
    }
}

void LibraryState::setAskThread(const QString& id) {
    if (std::exchange(m_askThread, id) != id) {
        Q_EMIT askThreadChanged();
    }
}

void LibraryState::setOpenRun(const QString& id) {
    if (std::exchange(m_openRun, id) != id) {
        Q_EMIT openRunChanged();
    }
}

void LibraryState::select(const std::optional<SidebarItem>& item) {
    m_selection = item;
    Q_EMIT selectionChanged();
}

void LibraryState::travel(QList<SidebarItem>& from, QList<SidebarItem>& to) {
    if (from.isEmpty()) {
        return;
    }
    if (m_selection) {
        to.append(*m_selection);
    }
    const SidebarItem target = from.takeLast();
    setShowResults(false);
    select(target);
    Q_EMIT historyChanged();
}

}  // namespace lumbro
