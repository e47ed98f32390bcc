#include "ask/formats/AskLookup.h"

#include <algorithm>
#include <utility>

namespace lumbro {

namespace {

// As long as the stamp that folder names begin with, so that few of them begin alike.
constexpr qsizetype startLength = 15;

}  // namespace

CaptureIndex::CaptureIndex(QList<Entry> entries) : m_entries(std::move(entries)) {
    for (qsizetype i = 0; i < m_entries.size(); ++i) {
        const QString& id = m_entries.at(i).id;
        if (id.size() >= startLength) {
            m_byStart[QStringView(id).first(startLength)].append(i);
        } else if (!id.isEmpty()) {
            m_short.append(i);
        }
    }
}

const CaptureIndex::Entry* CaptureIndex::find(const QString& text) const {
    qsizetype best = m_entries.size();
    for (qsizetype at = 0; at + startLength <= text.size(); ++at) {
        const QStringView rest = QStringView(text).sliced(at);
        const auto found = m_byStart.find(rest.first(startLength));
        for (const qsizetype i : found == m_byStart.end() ? QList<qsizetype>() : *found) {
            best = rest.startsWith(m_entries.at(i).id) ? std::min(best, i) : best;
        }
    }
    for (const qsizetype i : m_short) {
        best = text.contains(m_entries.at(i).id) ? std::min(best, i) : best;
    }
    return best == m_entries.size() ? nullptr : &m_entries.at(best);
}

}  // namespace lumbro
