// An invitation's texts, which come from strangers: what is found in them is a web address of a known
// service.
#include "meetings/formats/MeetingLink.h"

#include "Check.h"

using namespace lumbro;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QStringList parts = QString::fromUtf8(fuzz::bytes(data, size)).split(u'\0');
    const auto link = meetingLink::find(parts.value(0), parts.value(1), parts.value(2));
    if (link) {
        fuzz::check(link->scheme() == u"https");
        fuzz::check(!link->host().isEmpty() && link->userInfo().isEmpty());
        fuzz::check(meetingLink::app(link->toString()).has_value());
    }
    return 0;
}
