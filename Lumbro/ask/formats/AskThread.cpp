#include "ask/formats/AskThread.h"

#include "LumbroCore/Dates.h"
#include "LumbroCore/Literals.h"
#include "LumbroCore/Text.h"

#include <QHashFunctions>
#include <QTextBoundaryFinder>

namespace lumbro {

namespace {

constexpr int longestTitle = 70;
constexpr int cutTitle = 67;
constexpr int longestSlug = 40;

/// The place behind the first `count` characters as people count them, or -1 when there are not so many.
qsizetype placeBehind(const QString& text, int count) {
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    qsizetype place = 0;
    for (int i = 0; i < count && place >= 0; ++i) {
        place = finder.toNextBoundary();
    }
    return place;
}

QString firstCharacters(const QString& text, int count) {
    const qsizetype place = placeBehind(text, count);
    return place < 0 ? text : text.first(place);
}

}  // namespace

QString AskTurn::id() const {
    return QString::number(double(date.toMSecsSinceEpoch()) / 1000, 'f', 3) + u'-' +
           QString::number(qHash(question));
}

QDateTime AskThread::updated() const {
    return turns.isEmpty() ? created : turns.last().date;
}

QString AskThread::titleFor(const QString& question) {
    const bool isLong = placeBehind(question, longestTitle + 1) >= 0;
    return isLong ? firstCharacters(question, cutTitle) + u'…' : question;
}

QString AskThread::nameFor(const QString& question, const QDateTime& now) {
    return dates::folderStamp(now) + u'-' + firstCharacters(slugified(question), longestSlug);
}

}  // namespace lumbro
