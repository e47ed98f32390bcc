// An agent's words about what it did: never done without something that was seen, and no link but to the web.
#include "actions/formats/ActionReport.h"

#include "Check.h"
#include "actions/ActionLinks.h"

#include <algorithm>

using namespace lumbro;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const auto report = ActionReport::in(QString::fromUtf8(fuzz::bytes(data, size)));
    if (!report) {
        return 0;
    }
    const bool isDone = report->finalStatus() == ActionRun::Status::done;
    fuzz::check(!isDone ||
                (!report->items.isEmpty() && std::ranges::all_of(report->items, &ActionRun::Item::verified)));
    const ActionLinks links([](const QUrl&) { return true; });
    const auto link = links.link(ActionRun{.items = report->items});
    fuzz::check(!link || link->scheme() == u"http" || link->scheme() == u"https");
    return 0;
}
