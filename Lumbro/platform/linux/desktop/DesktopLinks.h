#pragma once

#include <QString>
#include <QUrl>

/// The desktop's own way with links. Main thread.
namespace lumbro::desktopLinks {

/// Hands the address to the desktop, whose program outlives us. False without a desktop, or when nothing of
/// it could be started; what becomes of the address afterwards isn't known.
bool open(const QUrl& url);

/// Whether an installed application opens links of this scheme, such as "todoist": by the lists of the
/// desktop (mimeapps.list and mimeinfo.cache).
bool hasHandler(const QString& scheme);

}  // namespace lumbro::desktopLinks
