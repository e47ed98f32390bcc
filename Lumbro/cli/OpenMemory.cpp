#include "cli/OpenMemory.h"

#include "LumbroCore/Text.h"

#include <algorithm>

namespace lumbro::cli {

namespace {

/// The one item that `text` means: the item of that id, else the only one of that other name, else the only
/// one whose id begins so. More than one are given in `several`.
template <typename Item, typename Name>
std::optional<Item> find(const QList<Item>& items, const QString& text, const Name& hasName,
                         QStringList& several) {
    const auto composed = [](const QString& id) { return id.normalized(QString::NormalizationForm_C); };
    const QString wanted = composed(text);
    const auto exact = std::ranges::find(items, wanted, [&](const Item& item) { return composed(item.id); });
    if (exact != items.end()) {
        return *exact;
    }
    const auto begins = [&](const Item& item) {
        return !wanted.isEmpty() && composed(item.id).startsWith(wanted);
    };
    QList<Item> found;
    std::ranges::copy_if(items, std::back_inserter(found), hasName);
    if (found.isEmpty()) {
        std::ranges::copy_if(items, std::back_inserter(found), begins);
    }
    if (found.size() == 1) {
        return found.first();
    }
    for (const Item& item : found) {
        several += item.id;
    }
    return std::nullopt;
}

bool isOf(MemoryPart part, const MemoryStore& memory, const QString& path) {
    const QString inside = path.sliced(memory.root().size());
    switch (part) {
        case MemoryPart::people:
            return inside.isEmpty() || inside.startsWith(u"/people");
        case MemoryPart::projects:
            return inside.isEmpty() || inside.startsWith(u"/projects");
        case MemoryPart::promises:
            return inside.isEmpty() || inside == u"/promises.md";
        case MemoryPart::ideas:
            return inside.isEmpty() || inside == u"/ideas.md";
        case MemoryPart::all:
            break;
    }
    return true;
}

QString sentence(const MemoryFault& fault) {
    const QString path = Output::clean(fault.path);
    switch (fault.kind) {
        case MemoryFault::Kind::notText:
            return path + u" is no UTF-8 text and is left out; save it as UTF-8."_s;
        case MemoryFault::Kind::oddBytes:
            return path + u" holds bytes that are no UTF-8 text; save it as UTF-8."_s;
        case MemoryFault::Kind::unreadable:
            break;
    }
    return u"%1 can't be read and is left out; `ls -ld` tells what it is and who may read it."_s.arg(path);
}

QList<MemoryFault> faults(const MemoryStore& memory, MemoryPart part) {
    QList<MemoryFault> faults = memory.faults();
    faults.removeIf([&](const MemoryFault& fault) { return !isOf(part, memory, fault.path); });
    std::ranges::sort(faults, {}, &MemoryFault::path);
    return faults;
}

std::unexpected<Failure> ambiguous(const QString& text, const QStringList& several) {
    return fail(FailureKind::notFound,
                u"\"%1\" may be %2 of them, such as %3 and %4; give one of these."_s.arg(
                    text, QString::number(several.size()), several.at(0), several.at(1)));
}

}  // namespace

OpenMemory::OpenMemory(LibraryUse use, Captures captures)
    : m_clock(SystemClock::dateFromEnvironment()),
      m_library(ContextLibrary::rootFromEnvironment(), m_clock),
      m_memory(m_library, m_clock, m_settings),
      m_usable(checkLibrary(m_library.root(), use)) {
    if (!m_usable) {
        return;
    }
    if (captures == Captures::read) {
        m_library.reloadCaptures();
    }
    if (use == LibraryUse::write) {
        m_memory.bootstrap();
    } else {
        m_memory.reload(true);
    }
}

int sayFaults(Output& output, const MemoryStore& memory, MemoryPart part, bool isEmpty) {
    constexpr qsizetype mostSaid = 5;
    const QList<MemoryFault> found = faults(memory, part);
    for (const MemoryFault& fault : found.first(std::min(found.size(), mostSaid))) {
        output.fail(sentence(fault));
    }
    if (found.size() > mostSaid) {
        output.fail(u"%1 more of the memory can't be read; `lumbro log` names them all."_s.arg(found.size() -
                                                                                               mostSaid));
    }
    const bool isAnyLost = !std::ranges::all_of(
        found, [](auto kind) { return kind == MemoryFault::Kind::oddBytes; }, &MemoryFault::kind);
    return isEmpty && isAnyLost ? 1 : 0;
}

QStringList unreadableFiles(const MemoryStore& memory, MemoryPart part) {
    QStringList paths;
    for (const MemoryFault& fault : faults(memory, part)) {
        paths += fault.path;
    }
    return paths;
}

Result<MemoryEntity> findPage(const MemoryStore& memory, MemoryEntity::Kind kind, const QString& text) {
    const bool isPerson = kind == MemoryEntity::Kind::person;
    QStringList several;
    const auto found = find(
        isPerson ? memory.people() : memory.projects(), text,
        [name = comparable(text.trimmed())](const MemoryEntity& page) {
            return comparable(page.name) == name;
        },
        several);
    if (found) {
        return *found;
    }
    if (!several.isEmpty()) {
        return ambiguous(text, several);
    }
    const QList<MemoryFault> lost = faults(memory, isPerson ? MemoryPart::people : MemoryPart::projects);
    const auto isMeant = [&text](const MemoryFault& fault) {
        return fault.path.endsWith(u"/%1.md"_s.arg(text)) || !fault.path.endsWith(u".md"_s);
    };
    if (const auto fault = std::ranges::find_if(lost, isMeant); fault != lost.end()) {
        return fail(FailureKind::notFound, sentence(*fault));
    }
    return fail(FailureKind::notFound,
                isPerson
                    ? u"There is no person \"%1\"; `lumbro people` lists them all."_s.arg(text)
                    : u"There is no project \"%1\"; `lumbro projects` lists them all, `lumbro project new` "
                      "begins one."_s.arg(text));
}

Result<PromiseItem> findPromise(const MemoryStore& memory, const QString& text) {
    QStringList several;
    const auto found = find(memory.promises(), text, [](const PromiseItem&) { return false; }, several);
    if (!found && !several.isEmpty()) {
        return ambiguous(text, several);
    }
    if (!found) {
        for (const MemoryFault& fault : faults(memory, MemoryPart::promises)) {
            if (fault.kind == MemoryFault::Kind::unreadable) {
                return fail(FailureKind::notFound, sentence(fault));
            }
        }
        return fail(FailureKind::notFound,
                    u"There is no promise \"%1\"; `lumbro promises --all` lists them all."_s.arg(text));
    }
    return *found;
}

}  // namespace lumbro::cli
