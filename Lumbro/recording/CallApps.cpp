#include "recording/CallApps.h"

#include <algorithm>
#include <array>

namespace lumbro::callApps {

bool isBrowser(QStringView bundleID) {
    static constexpr std::array<QStringView, 7> prefixes{
        u"com.google.Chrome", u"company.thebrowser",    u"com.apple.Safari",    u"com.apple.WebKit",
        u"com.brave.Browser", u"com.microsoft.edgemac", u"org.mozilla.firefox",
    };
    return std::ranges::any_of(prefixes, [&](QStringView prefix) { return bundleID.startsWith(prefix); });
}

}  // namespace lumbro::callApps
