#pragma once

#include <QList>
#include <QString>
#include <QStringList>
#include <QStringView>

#include <optional>

namespace lumbro {

/// A page of the memory: fields, some lines, and sections under "## " headings. What was read and not changed
/// is rendered as it stood, byte for byte, line ends "\r\n" included; only the blank lines before a heading
/// and at both ends of the page are brought into form. Any text can be read.
class MarkdownDoc {
  public:
    struct Field {
        QString key;
        QString value;

        bool operator==(const Field&) const = default;
    };
    /// Lines as they stand in the file, with a "\r" at the end where it has one.
    struct Section {
        QString title;
        QStringList lines;

        bool operator==(const Section&) const = default;
    };

    static MarkdownDoc parse(const QString& text);
    /// The whole page; it ends in exactly one line end.
    QString render() const;

    /// In the order of the page; a key may be there twice.
    QList<Field> fields() const;
    /// The lines above the first section.
    const QStringList& preamble() const { return m_preamble; }
    void setPreamble(const QStringList& lines);
    QList<Section> sections() const;

    /// The first value under exactly this key, else empty.
    QString field(QStringView key) const;
    /// Line ends in `value` become blanks. A missing key is added, also with an empty value. A value that is
    /// there is replaced by a non-empty one only, and with `onlyIfEmpty` only when it is empty. A value that
    /// goes on below its line, such as a list, counts as filled and is never replaced; no line is ever
    /// removed. False when the key was to be replaced and was left for that.
    bool setField(const QString& key, const QString& value, bool onlyIfEmpty = false);

    /// The lines of the first section with this title in any case, without "\r"; nothing when there is none.
    std::optional<QStringList> lines(QStringView title) const;
    /// What stands behind the "- " of the section's lines.
    QStringList bullets(QStringView title) const;
    /// Adds "- text" at the section's end, making the section at the page's end when it is missing.
    void appendBullet(const QString& text, const QString& title);
    /// Replaces the first "# " line of the preamble, if there is one.
    void setHeading(const QString& name);

  private:
    /// A line of the block at the top. Without ":" it is no field and only kept.
    struct HeadLine {
        Field field;
        bool isField = false;
        QString line;
    };
    struct Part {
        Section section;
        QString heading;
    };

    qsizetype readHead(const QStringList& lines);
    bool goesOnBelow(qsizetype index) const;
    const Part* part(QStringView title) const;
    QString own(const QString& line) const { return m_hasReturns ? line + u'\r' : line; }

    /// The lines "---", as they stand; empty when the page has no block.
    QString m_opening;
    QString m_closing;
    QList<HeadLine> m_head;
    QStringList m_preamble;
    QList<Part> m_parts;
    /// Lines end in "\r\n".
    bool m_hasReturns = false;
};

}  // namespace lumbro
