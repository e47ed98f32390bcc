#pragma once

#include "LumbroCore/Failure.h"

#include <QByteArray>
#include <QJsonArray>
#include <QJsonObject>
#include <QJsonValue>
#include <QString>
#include <QStringView>

namespace lumbro::cli {

/// How a piece of text looks on a terminal that shows colours; elsewhere it is plain.
enum class Look { plain, bold, dim, good, bad, accent };

/// True for text of printable ASCII alone, which most is: a cheap question before dear ones.
bool isPlain(QStringView text);

/// The command's two outputs. Results go to standard output; everything that is said on the way, and
/// failures, to standard error. A reader that has gone (`| head`) is no failure.
class Output {
  public:
    Output();

    /// A result for people, as it stands. Control characters must have been taken out by `clean`.
    void print(const QString& text);
    void printLine(const QString& text = {}) { print(text + u'\n'); }
    /// A result for programs: one document.
    void printJson(const QJsonValue& value);
    /// The same, already encoded.
    void printJson(QByteArray document);

    /// One line of progress that stays.
    void say(const QString& text);
    /// One line of progress that the next one replaces. Shown on a terminal only.
    void show(const QString& text);
    /// Takes a line of `show` away.
    void clearShown();
    /// The sentence of a failure. Gives the exit status 1.
    int fail(const QString& sentence);
    /// With the failure's detail on a second line.
    int fail(const Failure& failure);

    /// `text` in a look, for standard output and for standard error.
    QString styled(const QString& text, Look look) const { return inLook(text, look, m_outColours); }
    QString styledError(const QString& text, Look look) const { return inLook(text, look, m_errColours); }

    /// Standard output is a terminal; its width in columns (a very large number when it is none).
    bool isTerminal() const { return m_outTerminal; }
    int width() const { return m_width; }
    /// Standard error is a terminal that can take a line back, so that `show` shows.
    bool showsProgress() const { return m_errTerminal; }
    int progressWidth() const { return m_errWidth; }
    /// Nothing more can be written to standard output.
    bool isClosed() const { return m_closed; }
    /// 1 when results were lost although their reader is there, else `status`.
    int finalStatus(int status) const { return m_lost ? 1 : status; }

    /// The text without line ends and control characters, so that a title cannot steer the terminal.
    static QString clean(const QString& text);
    /// The same, but line ends stay.
    static QString cleanLines(const QString& text);

  private:
    void write(const QByteArray& bytes);
    static QString inLook(const QString& text, Look look, bool colours);

    bool m_outTerminal = false;
    bool m_errTerminal = false;
    bool m_outColours = false;
    bool m_errColours = false;
    int m_width = 0;
    int m_errWidth = 0;
    bool m_shown = false;
    bool m_closed = false;
    bool m_lost = false;
};

}  // namespace lumbro::cli
