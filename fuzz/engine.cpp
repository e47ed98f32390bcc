// Engine files: the front matter, every field with its default, and the lists in them.
#include "engines/formats/Engine.h"

#include "Check.h"
#include "engines/formats/Frontmatter.h"

using namespace lumbro;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QString text = QString::fromUtf8(fuzz::bytes(data, size));
    const Frontmatter::Parsed parsed = Frontmatter::parse(text);
    fuzz::check(parsed.found || (parsed.fields.isEmpty() && parsed.body == text));
    fuzz::check(parsed.found == (Frontmatter::closingFence(Frontmatter::lines(text)) > 0));

    const auto engine = Engine::parse(text, QStringLiteral("/engines/seed.md"));
    if (!engine) {
        fuzz::check(!engine.error().message.isEmpty());
        return 0;
    }
    fuzz::check(!engine->name.isEmpty() && !engine->prompt.isEmpty() && !engine->shortcut.isEmpty());
    fuzz::check(engine->hidden || !engine->watch);
    fuzz::check(!engine->watch || engine->watch->startsWith(u'/'));
    fuzz::check(EngineResult::parsing(engine->result.text()) == engine->result);
    fuzz::check(!engine->resultLabel().isEmpty() && engine->matches(engine->shortcut));
    return 0;
}
