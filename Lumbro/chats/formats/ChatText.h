#pragma once

#include <QString>
#include <QStringView>

#include <optional>

/// Texts of a chat, made fit to be kept. Pure functions; any thread.
namespace lumbro::chatText {

/// `text` without what programs put into it and with every secret hidden: a pasted block reads "[pasted
/// text]", a system reminder is gone. Trimmed.
QString tidy(QString text);

/// A name or a path on one line, with every secret hidden and without marks that turn its direction.
QString tidyName(QString name);

/// What stands between the first `open` and the first `close` after it, trimmed; nothing when one is missing.
std::optional<QString> between(QStringView text, QStringView open, QStringView close);

}  // namespace lumbro::chatText
