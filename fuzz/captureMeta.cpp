// meta.json: both ways of reading must agree, and what was read must come back the same after it was written.
#include "library/formats/CaptureMeta.h"

#include "Check.h"
#include "LumbroCore/Json.h"

using namespace lumbro;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QByteArray bytes = fuzz::bytes(data, size);
    const auto meta = CaptureMeta::fromJson(json::object(bytes));
    fuzz::check(CaptureMeta::fromBytes(bytes) == meta);
    if (meta) {
        const QByteArray written = json::encode(meta->toJson());
        const auto again = CaptureMeta::fromJson(json::object(written));
        fuzz::check(again && json::encode(again->toJson()) == written);
    }
    return 0;
}
