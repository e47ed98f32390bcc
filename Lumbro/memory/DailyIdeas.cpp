#include "memory/DailyIdeas.h"

#include "LumbroCore/AppLog.h"
#include "LumbroCore/AtomicFile.h"
#include "LumbroCore/Dates.h"
#include "LumbroCore/SpaceReserve.h"
#include "LumbroCore/Text.h"
#include "engines/formats/EngineInput.h"
#include "library/ContextLibrary.h"
#include "memory/DailyPass.h"
#include "memory/MemoryStore.h"
#include "runners/AgentClaim.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPointer>
#include <QUuid>

#include <algorithm>
#include <iterator>
#include <utility>

namespace lumbro {

using namespace std::chrono_literals;

namespace {

constexpr auto interval = 60s;
constexpr qsizetype mostIdeas = 3;
const QString area = u"ideas"_s;
const QString lastRun = u"dailyIdeasLastRun"_s;
const QString noNotes = u"No notes from today yet."_s;

/// One item of the reply.
struct ReplyItem {
    QString hook;
    QString angle;
    QString capture;
};

/// A text that may be absent; nothing when it is something else.
std::optional<QString> optionalText(const QJsonValue& value) {
    if (value.isUndefined() || value.isNull()) {
        return QString();
    }
    return value.isString() ? std::optional(value.toString()) : std::nullopt;
}

/// The reply's items; nothing when it is not what was asked for.
std::optional<QList<ReplyItem>> decoded(const QString& text) {
    const qsizetype begin = text.indexOf(u'{');
    const qsizetype end = text.lastIndexOf(u'}');
    if (begin < 0 || end < begin) {
        return std::nullopt;
    }
    const QByteArray bytes = QStringView(text).sliced(begin, end - begin + 1).toUtf8();
    const QJsonValue ideas = QJsonDocument::fromJson(bytes).object().value(u"ideas"_s);
    if (!ideas.isArray()) {
        return std::nullopt;
    }
    QList<ReplyItem> items;
    for (const auto& value : ideas.toArray()) {
        const QJsonObject item = value.toObject();
        const auto angle = optionalText(item.value(u"angle"_s));
        const auto capture = optionalText(item.value(u"capture"_s));
        if (!item.value(u"hook"_s).isString() || !angle || !capture) {
            return std::nullopt;
        }
        items.append({item.value(u"hook"_s).toString(), *angle, *capture});
    }
    return items;
}

QString donePath(const ContextLibrary& library) {
    return library.root() + u"/.ideas.done"_s;
}

/// Why nothing could be added to the list of ideas; empty when it can.
QString problemOfList(const MemoryStore& memory, const SpaceReserve& room) {
    const QString list = memory.root() + u"/ideas.md"_s;
    const auto isUnreadable = [&list](const MemoryFault& fault) {
        return fault.path == list && fault.kind == MemoryFault::Kind::unreadable;
    };
    const QList<MemoryFault> faults = memory.faults();
    if (std::ranges::any_of(faults, isUnreadable)) {
        return u"%1 can't be read, so nothing was looked for; mend or remove it first."_s.arg(list);
    }
    return room.isHeld() ? QString() : u"The agent wasn't asked: %1."_s.arg(room.problem(u"ideas"_s));
}

QString beginning(const QString& reply) {
    constexpr qsizetype shown = 90;
    return firstCharacters(reply.simplified(), shown);
}

DailyIdea ideaOf(const IdeaItem& item) {
    const auto capture = item.source ? item.source->captureID() : std::nullopt;
    return {item.hook, item.angle, capture.value_or(QString())};
}

/// The ideas of lines that were written.
QList<DailyIdea> added(const QStringList& lines) {
    QList<DailyIdea> ideas;
    for (const QString& line : lines) {
        if (const auto item = IdeaItem::parse(line)) {
            ideas.append(ideaOf(*item));
        }
    }
    return ideas;
}

/// The first folder that the text names, else the last one. A name that goes on is another one's:
/// "…-meeting-2" is not "…-meeting".
QString folderIn(const QString& text, const QStringList& folders) {
    QString named;
    for (const QString& folder : folders) {
        if (text.contains(folder) && (named.isEmpty() || folder.startsWith(named))) {
            named = folder;
        }
    }
    return named.isEmpty() ? folders.last() : named;
}

Task<> dropResult(Task<Result<QList<DailyIdea>>> run) {
    [[maybe_unused]] const auto shown = co_await std::move(run);
}

}  // namespace

/// A pass is under way, until the end of the scope.
class DailyIdeas::Busy {
  public:
    explicit Busy(DailyIdeas& ideas) : m_ideas(&ideas) { set(true); }
    Busy(const Busy&) = delete;
    Busy& operator=(const Busy&) = delete;
    ~Busy() { set(false); }

  private:
    void set(bool isRunning) {
        if (m_ideas) {
            m_ideas->m_isRunning = isRunning;
            Q_EMIT m_ideas->isRunningChanged();
        }
    }

    QPointer<DailyIdeas> m_ideas;
};

DailyIdeas::DailyIdeas(Ports ports) : m_ports(std::move(ports)) {}

DailyIdeas::~DailyIdeas() = default;

void DailyIdeas::start() {
    m_timer.start(m_ports.clock, interval, Clock::Repeat::always, [this] { check(); });
    check();
}

void DailyIdeas::check() {
    const Settings& settings = m_ports.settings;
    if (!settings.boolean(u"dailyIdeasEnabled"_s) || m_isRunning || m_ports.isRecording()) {
        return;
    }
    const QDateTime now = m_ports.clock.now();
    if (dailyPass::minuteOfDay(now) < settings.integer(u"dailyIdeasMinute"_s) ||
        dailyPass::isSpent(now, settings.string(lastRun), m_spentDay) || !hasCaptures(now)) {
        return;
    }
    m_spentDay = dates::day(now);
    m_ports.settings.set(lastRun, m_spentDay);
    runDetached(dropResult(run(now, true)));
}

/// Also those that a command beside us has made. All captures are read again only when there is a folder of
/// the day, as this is asked every minute.
bool DailyIdeas::hasCaptures(const QDateTime& day) {
    if (!captures(day).isEmpty()) {
        return true;
    }
    const QDir folder(m_ports.library.capturesFolder());
    if (folder.entryList({dates::day(day) + u"-*"_s}, QDir::Dirs).isEmpty()) {
        return false;
    }
    m_ports.library.reloadCaptures();
    return !captures(day).isEmpty();
}

QList<CaptureRecord> DailyIdeas::captures(const QDateTime& day) const {
    QList<CaptureRecord> found;
    const QDate date = day.toLocalTime().date();
    for (const CaptureRecord& record : m_ports.library.captures()) {
        if (record.meta.kind != CaptureKind::prep && record.meta.endedAt &&
            record.meta.startedAt.toLocalTime().date() == date) {
            found.append(record);
        }
    }
    std::ranges::stable_sort(found, {}, [](const CaptureRecord& record) { return record.meta.startedAt; });
    return found;
}

/// What others have put into the list.
QList<DailyIdea> DailyIdeas::addedSince(const QSet<QString>& knownHooks) {
    m_ports.memory.reload(false);
    QList<DailyIdea> ideas;
    for (const IdeaItem& item : m_ports.memory.ideas()) {
        if (!knownHooks.contains(item.hook)) {
            ideas.append(ideaOf(item));
        }
    }
    return ideas;
}

/// What changes with every pass that comes to its end, in any process.
QByteArray DailyIdeas::doneMark() const {
    return readFile(donePath(m_ports.library)).value_or(QByteArray());
}

void DailyIdeas::markDone() const {
    const QByteArray mark = QUuid::createUuid().toByteArray(QUuid::WithoutBraces) + '\n';
    if (const auto written = writeFileAtomically(donePath(m_ports.library), mark); !written) {
        AppLog::error(area, written.error().message);
    }
}

Task<Result<QList<DailyIdea>>> DailyIdeas::run(QDateTime day, bool present, Cancel cancel,
                                               std::function<void()> onWait) {
    if (m_isRunning) {
        co_return fail(FailureKind::cancelled, u"The day is already being looked through."_s);
    }
    const QPointer<DailyIdeas> alive(this);
    const Busy busy(*this);
    m_ports.memory.reload(false);
    QSet<QString> knownHooks;
    std::ranges::transform(m_ports.memory.ideas(), std::inserter(knownHooks, knownHooks.end()),
                           &IdeaItem::hook);
    const QByteArray markBefore = doneMark();
    bool hasWaited = false;
    const std::function<void()> waiting = [&hasWaited, &onWait] {
        hasWaited = true;
        onWait();
    };
    const auto claim = co_await claimInTurn(&m_ports.clock, m_ports.library.root() + u"/.ideas.lock"_s,
                                            onWait ? waiting : onWait, cancel);
    if (!alive || (cancel && cancel->isCancelled)) {
        co_return fail(FailureKind::cancelled, u"Cancelled"_s);
    }
    if (!claim) {
        co_return fail(u"Another Lumbro looks through the day; its ideas will be in the list in a moment."_s);
    }
    Result<QList<DailyIdea>> ideas;
    if (hasWaited && doneMark() != markBefore) {
        ideas = addedSince(knownHooks);
    } else {
        ideas = co_await pass(day, std::move(cancel));
    }
    if (alive && present) {
        show(ideas);
    }
    co_return ideas;
}

Task<Result<QList<DailyIdea>>> DailyIdeas::pass(QDateTime day, Cancel cancel) {
    const QPointer<DailyIdeas> alive(this);
    co_await m_ports.importChats(day.toLocalTime().date().startOfDay());
    if (!alive) {
        co_return fail(FailureKind::cancelled, u"Lumbro was closed."_s);
    }
    const QList<CaptureRecord> found = captures(day);
    const auto engine = m_ports.library.engine(u"ideas"_s);
    if (found.isEmpty() || !engine) {
        co_return fail(FailureKind::notFound, noNotes);
    }
    const auto begun = m_ports.clock.elapsed();
    m_ports.memory.reload(false);
    // Whatever would keep the ideas from their list is said before they are paid for.
    SpaceReserve room(m_ports.memory.root());
    if (const QString problem = problemOfList(m_ports.memory, room); !problem.isEmpty()) {
        AppLog::error(area, u"ideas pass failed: "_s + problem);
        co_return fail(problem);
    }
    AgentRequest asked = request(*engine, input(day, found));
    if (!cancel) {
        cancel = std::make_shared<CancellationHandle>();
    }
    const Result<QString> reply = co_await m_ports.agent.run(std::move(asked), std::move(cancel));
    if (!reply) {
        AppLog::error(area, u"ideas pass failed: "_s + reply.error().message);
        co_return std::unexpected(reply.error());
    }
    if (!alive) {
        co_return fail(FailureKind::cancelled, u"Lumbro was closed."_s);
    }
    room.release();
    const Result<QList<DailyIdea>> ideas = co_await file(*reply, found);
    if (alive && ideas) {
        const auto seconds =
            std::chrono::duration_cast<std::chrono::seconds>(m_ports.clock.elapsed() - begun);
        AppLog::info(
            area,
            u"%1 ideas from %2 captures in %3s"_s.arg(ideas->size()).arg(found.size()).arg(seconds.count()));
    }
    co_return ideas;
}

/// Brings what the agent proposes into the list, and gives what is new there.
Task<Result<QList<DailyIdea>>> DailyIdeas::file(QString reply, QList<CaptureRecord> captures) {
    QStringList folders;
    std::ranges::transform(std::as_const(captures), std::back_inserter(folders), &CaptureRecord::id);
    const auto parsed = parse(reply, folders);
    if (!parsed) {
        co_return fail(
            u"The agent's answer could not be read, so no ideas were filed. Try again; it began: %1"_s.arg(
                beginning(reply)));
    }
    const QPointer<DailyIdeas> alive(this);
    const Result<QStringList> lines = co_await m_ports.memory.addIdeas(newIdeas(*parsed));
    if (!lines) {
        co_return std::unexpected(lines.error());
    }
    if (!alive) {
        co_return fail(FailureKind::cancelled, u"Lumbro was closed."_s);
    }
    markDone();
    co_return added(*lines);
}

QString DailyIdeas::input(const QDateTime& day, const QList<CaptureRecord>& captures) const {
    QStringList sections{u"# TODAY'S CAPTURES (%1)"_s.arg(dates::day(day))};
    for (const CaptureRecord& record : captures) {
        sections.append(
            u"## FOLDER: %1\n"_s.arg(record.id()) +
            EngineInput::build(record, m_ports.library.segments(record), m_ports.library.notes(record)));
    }
    const QString known = readTextFile(m_ports.memory.root() + u"/ideas.md"_s).value_or(QString());
    const QString plain = WikiLink::plain(known).trimmed();
    sections.append(u"# IDEAS I ALREADY HAVE\n"_s + (plain.isEmpty() ? u"(none)"_s : plain));
    return sections.join(u"\n\n"_s);
}

AgentRequest DailyIdeas::request(const Engine& engine, const QString& input) const {
    AgentRequest request;
    request.systemPrompt = EngineInput::systemPrompt(engine, m_ports.voice());
    request.instruction = u"Find today's best content ideas in stdin. JSON only."_s;
    request.context = input;
    request.model = engine.model;
    return request;
}

QList<NewIdea> DailyIdeas::newIdeas(const QList<DailyIdea>& ideas) const {
    QList<NewIdea> items;
    for (const DailyIdea& idea : ideas) {
        items.append({idea.hook, idea.angle, m_ports.library.record(idea.capture)});
    }
    return items;
}

void DailyIdeas::show(const Result<QList<DailyIdea>>& ideas) {
    if (!ideas) {
        const bool isNothing =
            ideas.error().kind == FailureKind::notFound && ideas.error().message == noNotes;
        (isNothing ? m_ports.say : m_ports.sayError)(ideas.error().message);
    } else if (ideas->isEmpty()) {
        m_ports.say(u"No strong content ideas in today's notes."_s);
    } else {
        m_ports.present(*ideas);
    }
}

std::optional<QList<DailyIdea>> DailyIdeas::parse(const QString& text, const QStringList& folders) {
    auto items = decoded(text);
    if (!items) {
        AppLog::error(area, u"unreadable JSON"_s);
        return std::nullopt;
    }
    items->resize(std::min(items->size(), mostIdeas));
    QList<DailyIdea> ideas;
    for (const ReplyItem& item : std::as_const(*items)) {
        const QString hook = item.hook.trimmed();
        if (hook.isEmpty() || folders.isEmpty()) {
            continue;
        }
        ideas.append({hook, item.angle, folderIn(item.capture, folders)});
    }
    return ideas;
}

}  // namespace lumbro
