#include "cli/services/DoctorCommand.h"

#include "LumbroCore/Settings.h"
#include "cli/Table.h"
#include "cli/services/Doctor.h"
#include "cli/services/FinishSteps.h"

#include <QJsonArray>
#include <QJsonObject>

#include <algorithm>

namespace lumbro::cli {

namespace {

using Kind = PermissionState::Kind;

QString mark(const Output& output, const PermissionState& state) {
    switch (state.kind) {
        case Kind::allowed:
            return output.styled(u"ok"_s, Look::good);
        case Kind::denied:
            return output.styled(u"no"_s, Look::bad);
        default:
            return output.styled(u"?"_s, Look::bold);
    }
}

// One agent is enough: the other one's absence is no fault.
bool matters(const DoctorCheck& check, bool usesCodex) {
    const QString idle = usesCodex ? u"Claude Code"_s : u"Codex"_s;
    return check.state.kind == Kind::denied && check.check != idle;
}

}  // namespace

Task<int> doctor(CommandContext context) {
    Output& output = context.output;
    Services services;
    FinishSteps steps(output, services.clock());
    Doctor examiner(services);
    if (output.showsProgress()) {
        examiner.onBegin = [&steps](const QString& name) { steps.begin(u"Checking: %1…"_s.arg(name)); };
    }
    const QList<DoctorCheck> checks = co_await examiner.examine();
    steps.end();
    const bool usesCodex = services.settings().string(u"aiProvider"_s) == u"codex";
    const auto faults = std::ranges::count_if(
        checks, [usesCodex](const DoctorCheck& check) { return matters(check, usesCodex); });
    if (context.arguments.wantsJson()) {
        QJsonArray array;
        for (const DoctorCheck& check : checks) {
            array += QJsonObject{
                {u"check"_s, check.check}, {u"state"_s, check.state.name()}, {u"message"_s, check.message}};
        }
        output.printJson(array);
        co_return faults == 0 ? 0 : 1;
    }
    for (const DoctorCheck& check : checks) {
        output.printLine(padded(mark(output, check.state), 4) + padded(check.check, 14) +
                         Output::clean(check.message));
    }
    if (faults > 0) {
        co_return output.fail(faults == 1 ? u"One thing needs mending; its line says how."_s
                                          : u"%1 things need mending; their lines say how."_s.arg(faults));
    }
    output.say(u"Everything that is needed works."_s);
    co_return 0;
}

}  // namespace lumbro::cli
