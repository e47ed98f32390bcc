#pragma once

#include "ask/formats/AskThread.h"

#include <QJsonArray>
#include <QJsonObject>

namespace lumbro::cli {

/// `{title, item}` of each source.
QJsonArray sourcesJson(const QList<AskSource>& sources);
/// One entry of `asks`, and the object of `asks show`.
QJsonObject askJson(const AskThread& thread);
/// The object of `ask`.
QJsonObject askJson(const AskAnswer& answer);

}  // namespace lumbro::cli
