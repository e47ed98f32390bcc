#include "cli/ScopeLookup.h"

#include "cli/CaptureLookup.h"
#include "cli/OpenMemory.h"

namespace lumbro::cli {

Result<AskScope> findScope(const QString& capturesFolder, const MemoryStore& memory, const AskScope& scope) {
    using Kind = AskScope::Kind;
    if (scope.kind == Kind::capture) {
        const auto record = findCapture(capturesFolder, scope.id);
        return record ? Result<AskScope>(AskScope::capture(record->id())) : std::unexpected(record.error());
    }
    if (scope.kind == Kind::person || scope.kind == Kind::project) {
        const bool isPerson = scope.kind == Kind::person;
        const auto page =
            findPage(memory, isPerson ? MemoryEntity::Kind::person : MemoryEntity::Kind::project, scope.id);
        return page ? Result<AskScope>({scope.kind, page->id}) : std::unexpected(page.error());
    }
    if (scope.kind == Kind::company) {
        // In a company that nobody's address tells of the agent looks by the domain.
        const QString domain = scope.id.toLower();
        return domain.contains(u'.') || memory.company(domain)
                   ? Result<AskScope>({scope.kind, domain})
                   : fail(FailureKind::notFound,
                          u"There is no company \"%1\"; `lumbro companies` lists them all."_s.arg(scope.id));
    }
    return scope;
}

}  // namespace lumbro::cli
