// The file of a run: what was read comes back the same once it has been written.
#include "actions/formats/ActionRun.h"

#include "Check.h"
#include "LumbroCore/Json.h"

using namespace lumbro;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const auto run = ActionRun::fromBytes(fuzz::bytes(data, size));
    if (!run) {
        return 0;
    }
    const auto again = ActionRun::fromBytes(json::encode(run->toJson()));
    fuzz::check(again.has_value());
    // Dates are kept to the second.
    fuzz::check(again->status == run->status && again->items == run->items && again->content == run->content);
    fuzz::check(ActionRun::fromBytes(json::encode(again->toJson())) == again);
    fuzz::check(!run->title().isEmpty() || run->app.isEmpty());
    run->beforeRetry({});
    return 0;
}
