#include "memory/ReplyChanges.h"

#include "LumbroCore/Literals.h"
#include "chats/formats/Redact.h"
#include "memory/formats/MemoryText.h"

#include <QStringList>

#include <algorithm>

namespace lumbro {

namespace {

// In characters. Secrets are looked for in more than is shown: half of one is none that can be told.
constexpr qsizetype mostRead = 2000;
constexpr qsizetype mostShown = 60;

QString example(const QString& text) {
    const QString line = Redact::secrets(memoryText::oneLine(text, mostRead));
    return line.size() > mostShown ? line.first(mostShown) + u'…' : line;
}

}  // namespace

void ReplyChanges::note(const QString& sort, const QString& text, qsizetype count) {
    if (m_counts.isEmpty()) {
        m_first = u"%1 \"%2\""_s.arg(sort, example(text));
    }
    const auto known = std::ranges::find(m_counts, sort, &Count::sort);
    if (known == m_counts.end()) {
        m_counts.append({sort, count});
    } else {
        known->count += count;
    }
}

QString ReplyChanges::summary() const {
    if (m_counts.isEmpty()) {
        return {};
    }
    QStringList parts;
    for (const Count& each : m_counts) {
        parts += u"%1 %2"_s.arg(each.count).arg(each.sort);
    }
    return parts.join(u", "_s) + u"; first: "_s + m_first;
}

}  // namespace lumbro
