#include "library/TranscriptWords.h"

#include "LumbroCore/Text.h"
#include "library/formats/TranscriptSegment.h"

#include <QByteArrayView>
#include <QString>
#include <QUuid>

#include <optional>

namespace lumbro {

namespace {

/// Walks through a transcript in exactly the layout of our own writer. Whatever else it meets ends the walk;
/// the full reader then decides.
class Walker {
  public:
    explicit Walker(QByteArrayView rest) : m_rest(rest) {}

    std::optional<int> words() {
        int words = 0;
        bool more = skip("[\n");
        while (more) {
            const auto inSegment = segment();
            if (!inSegment) {
                return std::nullopt;
            }
            words += *inSegment;
            more = skip(",\n");
        }
        return m_rest == "\n]" ? std::optional(words) : std::nullopt;
    }

  private:
    std::optional<int> segment() {
        const auto id = field("  {\n    \"id\": \"", "\",\n    \"speaker\": \"");
        if (!id || QUuid::fromString(*id).isNull() || (!skip("Me\"") && !skip("Them\"")) ||
            !skip(",\n    \"start\": ") || !number()) {
            return std::nullopt;
        }
        const auto text = field(",\n    \"text\": \"", "\"\n  }");
        // An escape may stand for a blank or for half a letter.
        if (!text || !text->isValidUtf8() || text->contains('\\') || text->contains('"')) {
            return std::nullopt;
        }
        return wordCount(QString::fromUtf8(*text));
    }
    bool skip(QByteArrayView token) {
        if (!m_rest.startsWith(token)) {
            return false;
        }
        m_rest = m_rest.sliced(token.size());
        return true;
    }
    /// What stands between two tokens.
    std::optional<QByteArrayView> field(QByteArrayView before, QByteArrayView after) {
        if (!skip(before)) {
            return std::nullopt;
        }
        const qsizetype end = m_rest.indexOf(after);
        if (end < 0) {
            return std::nullopt;
        }
        const QByteArrayView value = m_rest.first(end);
        m_rest = m_rest.sliced(end + after.size());
        return value;
    }
    /// A time in a recording: digits with at most one fraction, and no needless zero in front, which is no
    /// JSON.
    bool number() {
        const bool zero = m_rest.startsWith('0');
        const qsizetype whole = digits();
        return whole > 0 && (!zero || whole == 1) && (!skip(".") || digits() > 0);
    }
    qsizetype digits() {
        qsizetype count = 0;
        while (count < m_rest.size() && m_rest[count] >= '0' && m_rest[count] <= '9') {
            ++count;
        }
        m_rest = m_rest.sliced(count);
        return count;
    }

    QByteArrayView m_rest;
};

}  // namespace

int transcriptWords(const QByteArray& bytes) {
    if (const auto words = Walker(bytes).words()) {
        return *words;
    }
    int words = 0;
    for (const TranscriptSegment& segment : transcript::decode(bytes)) {
        words += wordCount(segment.text);
    }
    return words;
}

}  // namespace lumbro
