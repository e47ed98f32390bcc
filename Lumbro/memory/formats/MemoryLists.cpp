#include "memory/formats/MemoryLists.h"

#include "LumbroCore/Literals.h"
#include "memory/formats/PromiseDates.h"

#include <QHash>

#include <algorithm>
#include <functional>

namespace lumbro::memoryLists {

namespace {

constexpr QByteArrayView openBox = "- [ ] ";
constexpr QByteArrayView tickedBox = "- [x] ";
constexpr QByteArrayView snoozedMark = " · snoozed ";

/// Calls `read` with each line, without its "\n".
void forEachLine(const QByteArray& file, const std::function<void(const QString& line)>& read) {
    for (qsizetype at = 0; at < file.size();) {
        qsizetype end = file.indexOf('\n', at);
        end = end < 0 ? file.size() : end;
        read(QString::fromUtf8(QByteArrayView(file).sliced(at, end - at)));
        at = end + 1;
    }
}

QByteArray lineEnd(const QByteArray& file) {
    const qsizetype end = file.indexOf('\n');
    return end > 0 && file[end - 1] == '\r' ? "\r\n" : "\n";
}

QByteArray joined(const QStringList& lines, const QByteArray& end) {
    QByteArray bytes;
    for (const QString& line : lines) {
        bytes += line.toUtf8() + end;
    }
    return bytes;
}

/// Reads the lines of a file in their order. Lines alike but for box and snooze would share the id made from
/// them, so the second gets "-2" behind it, the third "-3", and so on.
class PromiseReader {
  public:
    std::optional<PromiseItem> read(const QString& line) {
        auto promise = PromiseItem::parse(line);
        if (promise && promise->id.startsWith(PromiseItem::madeID()) && !line.contains(u'^' + promise->id)) {
            const int count = ++m_counts[promise->id];
            promise->id += count > 1 ? u"-%1"_s.arg(count) : QString();
        }
        return promise;
    }

  private:
    QHash<QString, int> m_counts;
};

/// Changes the lines of the promises with an id. A line without anchor is known by the id made from it.
std::optional<QByteArray> changed(const QByteArray& file, const QString& id,
                                  const std::function<void(QByteArray& line)>& change) {
    QList<QByteArray> lines = file.split('\n');
    const QByteArray anchor = '^' + id.toUtf8();
    const bool isMade = id.startsWith(PromiseItem::madeID());
    bool isThere = false;
    PromiseReader reader;
    for (QByteArray& line : lines) {
        // Most are told apart without reading them.
        if (!isMade && !line.contains(anchor)) {
            continue;
        }
        const auto promise = reader.read(QString::fromUtf8(line));
        if (promise && promise->id == id) {
            isThere = true;
            change(line);
        }
    }
    return isThere ? std::optional(lines.join('\n')) : std::nullopt;
}

void replaceFirst(QByteArray& line, QByteArrayView before, QByteArrayView after) {
    const qsizetype at = line.toLower().indexOf(before);
    if (at >= 0) {
        line.replace(at, before.size(), after);
    }
}

/// In bytes: what is no UTF-8 text elsewhere in the line stays.
QByteArray withoutSnooze(QByteArray line) {
    constexpr qsizetype daySize = 10;
    qsizetype at = 0;
    while ((at = line.indexOf(snoozedMark, at)) >= 0) {
        const qsizetype day = at + snoozedMark.size();
        if (PromiseDates::looksLikeDay(
                QString::fromLatin1(line.sliced(day, std::min(daySize, line.size() - day))))) {
            line.remove(at, snoozedMark.size() + daySize);
        } else {
            ++at;
        }
    }
    return line;
}

}  // namespace

QByteArray newPromises() {
    return "# Promises\n\nOpen loops from your meetings and notes. Tick a box when it's done.\n\n";
}

QByteArray newIdeas() {
    return "# Ideas\n\nContent ideas from your meetings and notes, newest first.\n\n";
}

QList<PromiseItem> promises(const QByteArray& file) {
    QList<PromiseItem> found;
    PromiseReader reader;
    forEachLine(file, [&](const QString& line) {
        if (const auto promise = reader.read(line)) {
            found.append(*promise);
        }
    });
    return found;
}

QList<IdeaItem> ideas(const QByteArray& file) {
    QList<IdeaItem> found;
    forEachLine(file, [&found](const QString& line) {
        if (const auto idea = IdeaItem::parse(line)) {
            found.append(*idea);
        }
    });
    return found;
}

QByteArray withPromises(const QByteArray& file, const QStringList& lines) {
    if (lines.isEmpty()) {
        return file;
    }
    const QByteArray end = lineEnd(file);
    QByteArray bytes = file;
    while (bytes.endsWith('\n') || bytes.endsWith('\r')) {
        bytes.chop(1);
    }
    return bytes + (bytes.isEmpty() ? QByteArray() : end) + joined(lines, end);
}

QByteArray withIdeas(const QByteArray& file, const QStringList& lines) {
    const QByteArray end = lineEnd(file);
    const QByteArray fresh = joined(lines, end);
    if (file.startsWith("- ")) {
        return fresh + file;
    }
    const qsizetype before = file.indexOf("\n- ");
    if (before >= 0) {
        return QByteArray(file).insert(before + 1, fresh);
    }
    return file + (file.isEmpty() || file.endsWith('\n') ? QByteArray() : end) + fresh;
}

std::optional<QByteArray> withBox(const QByteArray& file, const QString& id, bool done) {
    return changed(file, id, [done](QByteArray& line) {
        done ? replaceFirst(line, openBox, tickedBox) : replaceFirst(line, tickedBox, openBox);
    });
}

std::optional<QByteArray> withSnooze(const QByteArray& file, const QString& id, QDate until) {
    const QByteArray mark = snoozedMark.toByteArray() + PromiseDates::text(until).toUtf8();
    return changed(file, id, [&](QByteArray& line) {
        line = withoutSnooze(line);
        const qsizetype anchor = line.lastIndexOf(" ^" + id.toUtf8());
        if (anchor >= 0) {
            line.insert(anchor, mark);
        } else {
            line.insert(line.endsWith('\r') ? line.size() - 1 : line.size(), mark);
        }
    });
}

}  // namespace lumbro::memoryLists
