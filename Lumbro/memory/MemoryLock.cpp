#include "memory/MemoryLock.h"

#include "LumbroCore/AtomicFile.h"
#include "LumbroCore/Literals.h"
#include "memory/formats/MemoryEntity.h"

#include <chrono>

namespace lumbro {

using namespace std::chrono_literals;

namespace {

constexpr auto pause = 20ms;
constexpr auto most = 5s;

bool makeFolders(const QString& root) {
    using Kind = MemoryEntity::Kind;
    return makePrivateFolder(root) &&
           makePrivateFolder(root + u'/' + MemoryEntity::folderName(Kind::person)) &&
           makePrivateFolder(root + u'/' + MemoryEntity::folderName(Kind::project));
}

}  // namespace

MemoryLock::MemoryLock(const QString& root)
    : m_root(root), m_hasFolders(makeFolders(root)), m_lock(root, 0ms) {}

Result<> MemoryLock::held() const {
    if (!m_hasFolders) {
        return fail(FailureKind::notFound,
                    u"%1 and its folders can't be made; see what stands in their place."_s.arg(m_root));
    }
    if (!m_lock.isLocked()) {
        return fail(FailureKind::timedOut, u"Another process is changing the memory; try again."_s);
    }
    return {};
}

Task<std::unique_ptr<MemoryLock>> MemoryLock::wait(QString root, Clock* clock) {
    const auto end = clock->elapsed() + most;
    for (;;) {
        auto lock = std::make_unique<MemoryLock>(root);
        const auto held = lock->held();
        if (held || held.error().kind != FailureKind::timedOut || clock->elapsed() >= end) {
            co_return lock;
        }
        co_await clock->sleep(pause);
    }
}

}  // namespace lumbro
