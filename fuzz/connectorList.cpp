// What Claude Code tells of its connectors, and the user's own configuration, with a zero byte between them:
// whatever the names and tools are, each connector keeps to its own tools and is guarded.
#include "actions/formats/ConnectorList.h"

#include "Check.h"

#include <algorithm>

using namespace lumbro;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QByteArray bytes = fuzz::bytes(data, size);
    const qsizetype middle = std::max<qsizetype>(bytes.indexOf('\0'), 0);
    const auto init = ConnectorInit::fromLine(bytes.first(middle));
    const auto configs = localConnectorConfigs(bytes.sliced(middle));
    if (!init) {
        return 0;
    }
    // Halves of characters, which JSON can hold, don't come back.
    const auto again = ConnectorInit::fromLine(init->toLine());
    fuzz::check(again && again->tools.size() == init->tools.size() &&
                again->servers.size() == init->servers.size());
    fuzz::check(ConnectorInit::fromLine(again->toLine()) == again);
    for (const Connector& connector : connectorList(*init, configs)) {
        const QString prefix = connector.allow() + QStringLiteral("__");
        fuzz::check(std::ranges::all_of(connector.tools,
                                        [&](const QString& tool) { return tool.startsWith(prefix); }));
        fuzz::check(!connector.deletionGuard().isEmpty());
        fuzz::check(!prefix.contains(u',') && !prefix.contains(u' '));
        connector.defaultInstruction();
    }
    return 0;
}
