#pragma once

#include <QJsonObject>
#include <QString>

#include <optional>

namespace lumbro::claude {

/// Picks the words of the reply out of a run's events while it is being written.
class ReplyText {
  public:
    /// The next words. `isNew`: a text of its own begins, so what came before, such as words on a file that
    /// is about to be read, was not the reply.
    struct Piece {
        QString text;
        bool isNew = false;

        bool operator==(const Piece&) const = default;
    };

    /// Takes one event, of any kind. Nothing when it brings no words of the reply.
    std::optional<Piece> take(const QJsonObject& event);

  private:
    bool m_isNew = true;
};

}  // namespace lumbro::claude
