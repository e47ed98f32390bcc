#include "ask/AskContext.h"

#include "LumbroCore/Dates.h"
#include "ask/formats/AskPrompt.h"
#include "library/ContextLibrary.h"
#include "memory/MemoryStore.h"

#include <memory>
#include <utility>

namespace lumbro {

namespace {

using Kind = AskScope::Kind;

constexpr int toldMeetings = 3;

}  // namespace

AskContext::AskContext(const Clock& clock, const Settings& settings, const ContextLibrary& library,
                       const MemoryStore& memory, AskPorts ports)
    : m_clock(clock), m_settings(settings), m_library(library), m_memory(memory), m_ports(std::move(ports)) {}

Task<AskDates> AskContext::read(AskPorts ports) {
    AskDates read;
    if (ports.calendarContext) {
        read.text = co_await ports.calendarContext();
    }
    if (ports.nextMeetings) {
        read.meetings = co_await ports.nextMeetings(toldMeetings);
    }
    co_return read;
}

QString AskContext::input(const AskQuestion& question, const AskThread& thread, const AskDates& known) const {
    AskInput input;
    input.question = question.question;
    input.turns = thread.turns;
    input.live = question.live;
    input.scopeBlock = scopeBlock(thread.scope.value_or(AskScope()));
    input.engine = question.engine;
    input.voice = voice();
    m_ports.refreshConnectors();
    input.apps = apps();
    input.calendar = known.text.isEmpty() ? u"TODAY: "_s + dates::longReadable(m_clock.now()) : known.text;
    input.meetings = known.meetings;
    return input.text();
}

AskLookup AskContext::lookup() const {
    QList<CaptureIndex::Entry> entries;
    entries.reserve(m_library.captures().size());
    for (const CaptureRecord& record : m_library.captures()) {
        entries.append({record.id(), record.meta.title});
    }
    const auto index = std::make_shared<const CaptureIndex>(std::move(entries));
    const auto named = [this](MemoryEntity::Kind kind, const QString& slug) {
        const auto entity = m_memory.entity(kind, slug);
        return entity ? std::optional(entity->name) : std::nullopt;
    };
    return {.capture = [index](const QString& text) -> std::optional<AskSource> {
                const auto* entry = index->find(text);
                return entry == nullptr
                           ? std::nullopt
                           : std::optional(AskSource{entry->title, SidebarItem::capture(entry->id)});
            },
            .person = [named](const QString& slug) { return named(MemoryEntity::Kind::person, slug); },
            .project = [named](const QString& slug) { return named(MemoryEntity::Kind::project, slug); }};
}

std::optional<QString> AskContext::title(const AskScope& scope) const {
    if (scope.kind == Kind::library) {
        return std::nullopt;
    }
    if (scope.kind == Kind::capture) {
        const auto record = m_library.record(scope.id);
        return record ? std::optional(record->meta.title) : std::nullopt;
    }
    return nameOf(scope);
}

QString AskContext::scopeBlock(const AskScope& scope) const {
    switch (scope.kind) {
        case Kind::capture: {
            const auto record = m_library.record(scope.id);
            return record ? askPrompt::captureBlock(*record) : QString();
        }
        case Kind::person:
            return askPrompt::personBlock(scope.id, nameOf(scope), m_memory.promisesInvolving(scope.id));
        case Kind::company: {
            const auto company = m_memory.company(scope.id);
            return company ? askPrompt::companyBlock(*company) : askPrompt::unknownCompanyBlock(scope.id);
        }
        case Kind::project:
            return askPrompt::projectBlock(scope.id, nameOf(scope));
        case Kind::library:
            break;
    }
    return {};
}

QString AskContext::nameOf(const AskScope& scope) const {
    if (scope.kind == Kind::company) {
        const auto company = m_memory.company(scope.id);
        return company ? company->name : scope.id;
    }
    const bool isPerson = scope.kind == Kind::person;
    const auto entity =
        m_memory.entity(isPerson ? MemoryEntity::Kind::person : MemoryEntity::Kind::project, scope.id);
    return entity ? entity->name : scope.id;
}

QStringList AskContext::apps() const {
    QStringList apps{u"Reminders"_s, u"Mail"_s};
    if (!m_ports.calendarIsDenied()) {
        apps << u"Calendar"_s;
    }
    for (const AskConnector& connector : m_ports.connectors()) {
        apps << connector.app;
    }
    return apps;
}

std::optional<Voice> AskContext::voice() const {
    const QString id = m_settings.string(u"selectedVoiceID"_s);
    for (const Voice& voice : m_library.voices()) {
        if (voice.id == id) {
            return voice;
        }
    }
    return std::nullopt;
}

}  // namespace lumbro
