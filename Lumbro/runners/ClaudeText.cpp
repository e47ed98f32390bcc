#include "runners/ClaudeText.h"

#include "LumbroCore/Literals.h"

#include <utility>

namespace lumbro::claude {

std::optional<ReplyText::Piece> ReplyText::take(const QJsonObject& event) {
    const bool isAssistants = event.value(u"parent_tool_use_id").isString();
    if (event.value(u"type").toString() != u"stream_event" || isAssistants) {
        return std::nullopt;
    }
    const QJsonObject inner = event.value(u"event").toObject();
    const QString kind = inner.value(u"type").toString();
    QString text;
    if (kind == u"message_start") {
        m_isNew = true;
    } else if (kind == u"content_block_start") {
        const QJsonObject block = inner.value(u"content_block").toObject();
        if (block.value(u"type").toString() == u"text") {
            m_isNew = true;
            text = block.value(u"text").toString();
        }
    } else if (kind == u"content_block_delta") {
        const QJsonObject delta = inner.value(u"delta").toObject();
        if (delta.value(u"type").toString() == u"text_delta") {
            text = delta.value(u"text").toString();
        }
    }
    if (text.isEmpty()) {
        return std::nullopt;
    }
    return Piece{text, std::exchange(m_isNew, false)};
}

}  // namespace lumbro::claude
