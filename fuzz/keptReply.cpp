// A model's reply that is kept for the next pass: what is read of a file is written so that it is read again.
#include "memory/KeptReply.h"

#include "Check.h"

using namespace lumbro;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const auto kept = KeptReply::decode(fuzz::bytes(data, size));
    fuzz::check(!kept || !kept->text.isEmpty());
    fuzz::check(!kept || KeptReply::decode(kept->encode()) == kept);
    return 0;
}
