#pragma once

#include "ask/SearchHit.h"
#include "ask/SearchText.h"
#include "ask/TextBlocks.h"
#include "library/formats/TranscriptSegment.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QList>
#include <QString>
#include <QStringList>

#include <array>
#include <optional>
#include <span>
#include <vector>

namespace lumbro {

/// The lines of one capture that a search looks through, as they are shown and as they are compared.
class CaptureDocument {
  public:
    /// No time of a recording.
    static constexpr double noTime = -1;

    struct Line {
        SearchHit::Kind kind = SearchHit::Kind::title;
        /// Whose words a line with a time holds.
        Speaker speaker = Speaker::me;
        /// Both forms have their characters at the same bytes.
        bool isAligned = true;
        bool isAscii = false;
        /// Place in `handoffs`.
        quint16 handoff = 0;
        /// Where the line begins in the text and in its folded form.
        quint32 begin = 0;
        quint32 foldedBegin = 0;
        double time = noTime;
    };

    /// What a search found in the capture.
    struct Match {
        struct Hit {
            size_t line = 0;
            int score = 0;
        };
        /// The best ones, best first; equal ones in the order of the document.
        std::array<Hit, CaptureResult::maxHits> best;
        size_t count = 0;
        int score = 0;

        std::span<const Hit> hits() const { return {best.data(), count}; }
        void keepIfBest(const Hit& hit);
    };

    /// Nothing when a term occurs nowhere in the capture. `counts` is room for the work, kept between calls.
    std::optional<Match> match(std::span<const searchText::Needle> needles, std::vector<int>& counts) const;
    /// The line, or the piece of it around the first of the terms.
    QString snippet(size_t line, std::span<const searchText::Needle> needles) const;

    const Line& line(size_t index) const { return m_lines[index]; }
    size_t size() const { return m_lines.size(); }
    QByteArrayView text(size_t line) const;
    QByteArrayView folded(size_t line) const;
    /// Ids of the engines whose results are among the lines.
    const QStringList& handoffs() const { return m_handoffs; }

  private:
    friend class CaptureDocumentBuilder;

    Match matchOne(const searchText::Needle& needle, qsizetype first) const;
    Match matchAll(std::span<const searchText::Needle> needles, std::vector<int>& counts) const;
    int points(size_t line, int terms) const;

    /// Holds what the others view.
    TextBlocks::Piece m_memory;
    std::span<const Line> m_lines;
    QByteArrayView m_text;
    /// The lines in their folded form, then the word of the capture's kind, which is no line.
    QByteArrayView m_folded;
    qsizetype m_foldedLines = 0;
    /// The notes, which stand together.
    size_t m_notesBegin = 0;
    size_t m_notesEnd = 0;
    QStringList m_handoffs;
};

/// Makes documents, one after another; its room for the work is kept between them.
class CaptureDocumentBuilder {
  public:
    /// Begins a line; `append` makes it longer until the next one. The bytes must be UTF-8.
    void add(SearchHit::Kind kind, QByteArrayView text);
    /// The same for a paragraph of the transcript.
    void addSpeech(Speaker speaker, double time, QByteArrayView text);
    void append(QByteArrayView text);
    /// The lines of a file, without blank ones. `skipsHeadings` leaves out what begins with "#".
    void addLines(SearchHit::Kind kind, QByteArrayView text, bool skipsHeadings = false);
    /// What is added from now on is the result of this engine.
    void beginHandoff(const QString& engine);
    /// The document of a capture of this kind. The next one begins empty.
    CaptureDocument take(CaptureKind kind);

  private:
    void fold();

    TextBlocks m_blocks;
    QByteArray m_text;
    QByteArray m_folded;
    std::vector<CaptureDocument::Line> m_lines;
    QStringList m_handoffs;
};

}  // namespace lumbro
