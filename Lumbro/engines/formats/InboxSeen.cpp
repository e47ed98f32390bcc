#include "engines/formats/InboxSeen.h"

#include <algorithm>

namespace lumbro::inboxSeen {

namespace {

constexpr qsizetype hashSize = 64;

bool isHash(QByteArrayView text) {
    return text.size() == hashSize &&
           std::ranges::all_of(text, [](char c) { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f'); });
}

/// The hash and the run of a line, or nothing.
std::optional<std::pair<QString, QString>> entry(const QByteArray& line) {
    QByteArray run = line.mid(hashSize + 1);
    // Names may end in blanks; a line end of an editor is none.
    run.chop(run.endsWith('\r') ? 1 : 0);
    if (line.size() <= hashSize || line.at(hashSize) != ' ' || !isHash(line.first(hashSize)) ||
        run.trimmed().isEmpty() || !run.isValidUtf8()) {
        return std::nullopt;
    }
    return std::pair(QString::fromLatin1(line.first(hashSize)), QString::fromUtf8(run));
}

}  // namespace

QMap<QString, QString> parse(const QByteArray& bytes) {
    QMap<QString, QString> runs;
    for (const QByteArray& line : bytes.split('\n')) {
        if (const auto found = entry(line)) {
            runs.insert(found->first, found->second);
        }
    }
    return runs;
}

std::optional<QByteArray> with(const QByteArray& bytes, const QString& hash, const QString& run) {
    const QByteArray line = hash.toUtf8() + ' ' + run.toUtf8();
    if (line.contains('\n') || entry(line) != std::pair(hash, run)) {
        return std::nullopt;
    }
    // A last line that an editor left open must not swallow ours.
    const bool isOpen = !bytes.isEmpty() && !bytes.endsWith('\n');
    return bytes + (isOpen ? "\n" : "") + line + '\n';
}

}  // namespace lumbro::inboxSeen
