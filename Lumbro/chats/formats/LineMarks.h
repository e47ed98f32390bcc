#pragma once

#include <QtGlobal>

namespace lumbro {

/// What a line of a transcript holds, found by plain searches of its bytes: almost every line is the record
/// of a tool, and only the few others are worth reading as JSON.
struct LineMarks {
    bool user = false;
    bool toolResult = false;
    bool assistant = false;
    bool text = false;
    bool title = false;

    bool operator==(const LineMarks&) const = default;

    /// The line may hold what a person asked, or a title.
    bool mayBeTurn() const { return title || (user && (!toolResult || mayBeAnswer())); }
    /// The line may hold an answer.
    bool mayBeAnswer() const { return assistant && text; }

    /// A mark is at most this long; bytes.
    static constexpr qsizetype maxLength = 18;
    /// Bytes after those to be searched that must be readable.
    static constexpr qsizetype slack = 96;

    /// Searches bytes [from, to) for marks that begin there and for a line end; gives the place of the first
    /// line end, or `to`. Bytes up to `to` + `slack` must be readable; marks may end in them.
    qsizetype search(const char* data, qsizetype from, qsizetype to);

  private:
    void take(const char* line, const char* at);

    /// The line's beginning has been searched.
    bool m_isBegun = false;
    /// The type of the line itself has been seen.
    bool m_isTyped = false;
    bool m_isUser = false;
    /// Nothing that may follow makes the line one to be read.
    bool m_isOver = false;
};

}  // namespace lumbro
