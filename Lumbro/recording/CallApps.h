#pragma once

#include <QStringView>

namespace lumbro::callApps {

/// Whether a bundle identifier is a web browser's. A call in one may later show its native application.
bool isBrowser(QStringView bundleID);

}  // namespace lumbro::callApps
