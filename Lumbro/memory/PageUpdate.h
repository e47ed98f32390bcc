#pragma once

#include "LumbroCore/Failure.h"
#include "memory/formats/MarkdownDoc.h"

#include <QString>

#include <functional>

namespace lumbro {

/// Changes a page; `isNew` when there is no file or an empty one. False as result leaves the file alone. May
/// be called several times.
using PageChange = std::function<bool(MarkdownDoc& page, bool isNew)>;

/// Changes the page at a path by the rules of `updateFile`. A file that is no UTF-8 text is a failure and
/// stays as it is.
Result<bool> updatePage(const QString& path, const PageChange& change);

}  // namespace lumbro
