#include "runners/AIProvider.h"

namespace lumbro {

AIProvider preferredProvider(const Settings& settings) {
    return settings.string(u"aiProvider"_s) == u"codex" ? AIProvider::codex : AIProvider::claude;
}

}  // namespace lumbro
