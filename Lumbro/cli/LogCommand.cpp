#include "cli/LogCommand.h"

#include "LumbroCore/AppLog.h"
#include "LumbroCore/AtomicFile.h"
#include "LumbroCore/Clock.h"
#include "LumbroCore/Dates.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonObject>
#include <QRegularExpression>

#include <chrono>

namespace lumbro::cli {

namespace {

constexpr int usualLines = 50;
constexpr std::chrono::milliseconds lookAgain{250};

/// Reads what is added to a file, from its beginning again when it was replaced or cut.
class Tail {
  public:
    explicit Tail(QString path) : m_path(std::move(path)) {}

    QByteArray takeNew() {
        QFile file(m_path);
        if (!file.open(QIODevice::ReadOnly)) {
            return {};
        }
        m_position = file.size() < m_position ? 0 : m_position;
        file.seek(m_position);
        const QByteArray bytes = file.readAll();
        m_position += bytes.size();
        return bytes;
    }

  private:
    QString m_path;
    qint64 m_position = 0;
};

QByteArray lastLines(const QByteArray& bytes, int count) {
    qsizetype from = bytes.size();
    for (int i = 0; i <= count && from >= 0; ++i) {
        from = from == 0 ? -1 : bytes.lastIndexOf('\n', from - 1);
    }
    return bytes.sliced(from + 1);
}

QString shown(const Output& output, const QByteArray& bytes) {
    QString text;
    for (const QByteArray& line : bytes.split('\n')) {
        const QString plain = Output::clean(QString::fromUtf8(line));
        const Look look = plain.contains(u" ERROR ["_s) ? Look::bad : Look::plain;
        text += output.styled(plain, look) + u'\n';
    }
    text.chop(1);
    return text;
}

/// The stamp of a line, which is in local time, as in all other documents.
QString isoTime(const QString& stamp) {
    const QDateTime time = QDateTime::fromString(stamp, u"yyyy-MM-dd HH:mm:ss.zzz"_s);
    return time.isValid() ? dates::iso(time) : stamp;
}

QJsonArray linesJson(const QByteArray& bytes) {
    static const QRegularExpression form(u"^(\\S+ \\S+) (\\S+) \\[([^\\]]*)\\] (.*)$"_s);
    QJsonArray array;
    const QByteArray lines = bytes.endsWith('\n') ? bytes.chopped(1) : bytes;
    for (const QByteArray& line : lines.split('\n')) {
        const QString text = QString::fromUtf8(line);
        const auto match = form.match(text);
        if (!match.hasMatch() && !array.isEmpty()) {
            QJsonObject entry = array.takeAt(array.size() - 1).toObject();
            entry.insert(u"message"_s, entry.value(u"message"_s).toString() + u'\n' + text);
            array += entry;
        } else if (match.hasMatch()) {
            array += QJsonObject{{u"time"_s, isoTime(match.captured(1))},
                                 {u"level"_s, match.captured(2)},
                                 {u"tag"_s, match.captured(3)},
                                 {u"message"_s, match.captured(4)}};
        }
    }
    return array;
}

}  // namespace

Task<int> log(CommandContext context) {
    Output& output = context.output;
    const bool follows = context.arguments.has("follow");
    if (follows && context.arguments.wantsJson()) {
        output.fail(u"--follow has no end, so it can't give one JSON document; leave --json out."_s);
        output.say(usageLine(*findCommand({u"log"_s}).command));
        co_return wrongUsage;
    }
    Tail tail(AppLog::url());
    const QByteArray last = lastLines(tail.takeNew(), context.arguments.number("lines").value_or(usualLines));
    if (context.arguments.wantsJson()) {
        output.printJson(linesJson(last));
        co_return 0;
    }
    if (last.isEmpty() && !follows) {
        output.say(u"The log is empty: %1"_s.arg(AppLog::url()));
    }
    output.print(shown(output, last));
    SystemClock clock;
    while (follows && !output.isClosed()) {
        co_await clock.sleep(lookAgain);
        if (const QByteArray more = tail.takeNew(); !more.isEmpty()) {
            output.print(shown(output, more));
        }
    }
    co_return 0;
}

}  // namespace lumbro::cli
