#pragma once

#include <QRegularExpression>
#include <QString>
#include <QStringView>

#include <vector>

namespace lumbro {

/// A text without the characters that nobody sees: copied from a page, they mark where a line may be broken
/// or which way it is read, and may stand in the midst of a key. What is replaced in it is replaced in the
/// whole text; unseen characters come back where both of their neighbours stay. Any thread.
class SeenText {
  public:
    explicit SeenText(const QString& whole);

    /// True when an unseen character stands in the text.
    static bool isNeededFor(QStringView text);

    const QString& text() const { return m_text; }
    /// As QString does it; of the replacement, "\1" to "\9" mean what was captured. False when the search
    /// gave up: what is behind the last match is then replaced by `unsearched`, as it may hold anything.
    bool replace(const QRegularExpression& pattern, const QString& replacement, const QString& unsearched);
    /// The text with its unseen characters.
    QString whole() const;

  private:
    void append(const SeenText& from, qsizetype begin, qsizetype end);
    void appendReplacement(const SeenText& from, const QRegularExpressionMatch& match,
                           const QString& replacement);

    SeenText() = default;

    QString m_whole;
    QString m_text;
    /// Where each character of the text stands in the whole one; `nowhere` for those of replacements.
    std::vector<qsizetype> m_places;
};

}  // namespace lumbro
