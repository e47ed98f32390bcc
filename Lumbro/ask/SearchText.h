#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>
#include <QStringView>

#include <span>
#include <vector>

/// Text as search compares it: UTF-8, composed, in lower case. Any thread.
namespace lumbro::searchText {

/// The form in which query and text are compared.
QByteArray folded(QStringView text);

/// A term to look for, in its folded form and not empty.
class Needle {
  public:
    explicit Needle(QByteArray term);

    const QByteArray& term() const { return m_term; }
    /// Where the term occurs first in `text` at or after `from`; -1 for nowhere.
    qsizetype find(QByteArrayView text, qsizetype from = 0) const;
    bool isIn(QByteArrayView text) const { return find(text) >= 0; }

  private:
    QByteArray m_term;
    /// Places in the term of the bytes that texts hold least often.
    qsizetype m_rare = 0;
    qsizetype m_second = 0;
    qsizetype m_third = 0;
};

using Needles = std::vector<Needle>;

/// Many texts one after another, for a search through all at once.
class TextList {
  public:
    void clear();
    void add(QStringView text);
    qsizetype size() const { return std::ssize(m_begins); }
    /// The indices of the texts that hold every needle, in order. There is at least one needle.
    std::vector<qsizetype> matching(std::span<const Needle> needles) const;

  private:
    QByteArray m_text;
    std::vector<qsizetype> m_begins;
};

}  // namespace lumbro::searchText
