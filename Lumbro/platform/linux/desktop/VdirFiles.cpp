#include "platform/linux/desktop/VdirFiles.h"

#include "LumbroCore/AppLog.h"
#include "platform/linux/desktop/IcalRounds.h"

#include <QFile>

#include <algorithm>
#include <chrono>
#include <tuple>
#include <utility>

namespace lumbro {

namespace {

/// A file that was changed within this time, in nanoseconds, may change again without a new stamp.
constexpr qint64 young = 2'000'000'000;
constexpr qint64 secondsPerDay = 86400;
/// What is made ready around a question, so that the next one is answered from it.
constexpr qint64 before = 8 * secondsPerDay;
constexpr qint64 after = 35 * secondsPerDay;

qint64 nanosecondsNow() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::nanoseconds>(now).count();
}

auto order(const IcalOccurrence& one) {
    return std::tuple(one.start, QStringView(one.about->title), QStringView(one.about->id));
}

}  // namespace

void VdirFiles::look(const QString& root, const QString& ownEmail, Span wanted) {
    if (root != m_root || ownEmail != m_ownEmail) {
        m_files.clear();
        m_root = root;
        m_ownEmail = ownEmail;
        m_hasChanged = true;
    }
    ++m_look;
    m_isKnown = true;  // Before the look: what is told in between makes for another one.
    m_hasYoung = false;
    const VdirListing listing = VdirListing::of(root);
    m_hasChanged = m_hasChanged || listing.unreadable != m_unreadable;
    m_unreadable = listing.unreadable;
    std::vector<VdirText> texts = listing.readChanged(
        [&](const VdirEntry& entry) { return known(entry, listing.collections.at(entry.collection).title); },
        [wanted](const IcalOutline& outline) { return outline.mayTouch(wanted.from, wanted.to); });
    for (size_t i = 0; i < texts.size(); ++i) {
        const VdirEntry& entry = listing.entries[i];
        if (texts[i].state == VdirText::State::missing) {
            continue;
        }
        File& file = m_files[entry.path];
        if (texts[i].state == VdirText::State::read) {
            file.collection = listing.collections.at(entry.collection).path;
            file.calendar = listing.collections.at(entry.collection).title;
            take(file, std::move(texts[i]));
        }
        file.look = m_look;
        m_hasYoung = m_hasYoung || file.isYoung;
    }
    const auto gone = m_files.removeIf([this](const auto& each) { return each.value().look != m_look; });
    m_hasChanged = m_hasChanged || gone > 0;
}

/// Called on several threads at once, while nothing changes the files.
std::optional<VdirStamp> VdirFiles::known(const VdirEntry& entry, const QString& title) const {
    const auto file = m_files.find(entry.path);
    const bool isKnown = file != m_files.end() && !file->isYoung && file->calendar == title &&
                         file->fault != VdirText::Fault::unreadable;
    return isKnown ? std::optional(file->stamp) : std::nullopt;
}

void VdirFiles::take(File& file, VdirText text) {
    const bool isNew = file.look == 0;
    file.isYoung = std::abs(nanosecondsNow() - text.stamp.modified) < young;
    // Half a file, this moment: what stood there before is nearer to the truth.
    if (text.outline.isWhole || !file.isYoung || isNew) {
        file.content.reset();
        file.outline = text.outline;
        file.bytes = std::move(text.bytes);
    }
    file.stamp = text.stamp;
    file.fault = text.fault;
    file.isTold = false;
    m_hasChanged = true;
}

const IcalFile& VdirFiles::contentOf(const QByteArray& path, File& file) const {
    if (!file.content) {
        file.content =
            IcalFile::read(file.bytes.isEmpty() ? VdirListing::read(path) : file.bytes, m_ownEmail);
        file.content->setPlace(file.calendar, QFile::decodeName(path));
        file.bytes.clear();
    }
    return *file.content;
}

/// Empty when nothing of it is.
QString VdirFiles::missing(const QString& path, const File& file) {
    if (file.fault == VdirText::Fault::unreadable) {
        return u"%1 can't be read and is left out; `ls -ld` tells who may read it."_s.arg(path);
    }
    const auto fault = file.content ? file.content->fault() : IcalFile::Fault::none;
    if (file.fault == VdirText::Fault::tooLarge || fault == IcalFile::Fault::tooMuch) {
        return u"%1 holds more than one calendar file may and is left out; split it up."_s.arg(path);
    }
    const bool isNone = fault == IcalFile::Fault::noCalendar || !file.outline.isCalendar;
    const bool mayGrow = file.isYoung && !file.outline.isWhole;
    if (isNone && !mayGrow) {
        return u"%1 is no calendar file and is left out; fetch it again, or move it away."_s.arg(path);
    }
    if (file.outline.isTorn && !mayGrow) {
        return u"%1 breaks off before its end, and only what is complete in it is shown; fetch it again, or "
               "move it away."_s.arg(path);
    }
    if (file.content && file.content->isCut()) {
        return u"%1 repeats an event by a rule that isn't followed; only its other times are shown."_s.arg(
            path);
    }
    if (file.content && file.content->lacksChanges()) {
        return u"%1 changes events that repeat more often or by more than is followed; some of these "
               "changes are left out."_s.arg(path);
    }
    return file.isCut ? u"%1 repeats its events more often than is followed; some are left out."_s.arg(path)
                      : QString();
}

void VdirFiles::tellWhatIsMissing() {
    m_leftOut.clear();
    for (const QByteArray& folder : std::as_const(m_unreadable)) {
        m_leftOut.append(u"%1 can't be read and is left out; `ls -ld` tells who may read it."_s.arg(
            QFile::decodeName(folder)));
    }
    for (auto&& [path, file] : m_files.asKeyValueRange()) {
        const QString sentence = missing(QFile::decodeName(path), file);
        if (sentence.isEmpty()) {
            continue;
        }
        m_leftOut.append(sentence);
        // The log is the application's; each command would tell it again.
        if (m_look > 1 && !std::exchange(file.isTold, true)) {
            AppLog::info(u"calendar"_s, sentence);
        }
    }
    m_leftOut.sort();
}

QStringList VdirFiles::leftOut() const {
    const std::scoped_lock lock(m_mutex);
    return m_leftOut;
}

void VdirFiles::expand(Span wanted) {
    m_span = wanted;
    m_found.clear();
    std::vector<std::pair<QByteArray, File*>> places;
    std::vector<const IcalFile*> files;
    for (auto&& [path, file] : m_files.asKeyValueRange()) {
        file.isCut = false;
        if (file.outline.mayTouch(wanted.from, wanted.to)) {
            files.push_back(&contentOf(path, file));
            places.emplace_back(path, &file);
        }
    }
    for (const size_t cut : addOccurrences(files, wanted.from, wanted.to, m_found)) {
        places[cut].second->isCut = true;
    }
    tellWhatIsMissing();
    std::ranges::sort(m_found, {}, order);
    m_hasChanged = false;
}

QList<CalendarEvent> VdirFiles::within(Span wanted) const {
    QList<CalendarEvent> found;
    for (const IcalOccurrence& occurrence : m_found) {
        if (occurrence.start >= wanted.to) {
            break;
        }
        if (occurrence.start >= wanted.from || occurrence.end > wanted.from) {
            found.append(occurrence.event());
        }
    }
    return found;
}

QList<CalendarEvent> VdirFiles::events(const QString& root, const QString& ownEmail, qint64 from, qint64 to) {
    const std::scoped_lock lock(m_mutex);
    // Who asks but once, as a command does, need not wait for more than the answer.
    const Span wide = m_look == 0 ? Span{from, to} : Span{from - before, std::max(to, from + after)};
    look(root, ownEmail, wide);
    if (m_hasChanged || from < m_span.from || to > m_span.to) {
        expand(wide);
    }
    return within({from, to});
}

std::optional<QList<CalendarEvent>> VdirFiles::known(const QString& root, const QString& ownEmail,
                                                     qint64 from, qint64 to) {
    const std::unique_lock lock(m_mutex, std::try_to_lock);
    if (!lock || !m_isKnown || m_hasYoung || m_hasChanged || root != m_root || ownEmail != m_ownEmail ||
        from < m_span.from || to > m_span.to) {
        return std::nullopt;
    }
    return within({from, to});
}

QList<CalendarTask> VdirFiles::tasks(const QString& root, const QString& ownEmail,
                                     const QString& collection) {
    const std::scoped_lock lock(m_mutex);
    look(root, ownEmail, {});
    QList<CalendarTask> tasks;
    for (const auto& [path, file] : m_files.asKeyValueRange()) {
        if (file.collection == collection && file.outline.hasTasks) {
            tasks += contentOf(path, file).tasks();
        }
    }
    return tasks;
}

void VdirFiles::forget() {
    m_isKnown = false;
}

}  // namespace lumbro
