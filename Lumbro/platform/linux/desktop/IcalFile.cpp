#include "platform/linux/desktop/IcalFile.h"

#include "platform/linux/desktop/IcalSeries.h"
#include "platform/linux/desktop/IcalText.h"
#include "platform/linux/desktop/IcalTrim.h"

#include <QHash>

#include <algorithm>
#include <deque>
#include <utility>

namespace lumbro {

namespace {

/// How often all that follows in a file's series may change.
constexpr size_t mostChanges = 200;
/// How many stand-ins may be looked at for all series of a file together: as many as it has components, since
/// an item has but one series.
constexpr size_t mostPairs = 20'000;
constexpr int mostAttendees = 500;

QString textOf(icalcomponent* component, icalproperty_kind kind) {
    icalproperty* property = icalcomponent_get_first_property(component, kind);
    if (property == nullptr) {
        return {};
    }
    const icalvalue* value = icalproperty_get_value(property);
    const char* text = nullptr;
    if (icalvalue_isa(value) == ICAL_TEXT_VALUE) {
        text = icalvalue_get_text(value);
    } else if (icalvalue_isa(value) == ICAL_URI_VALUE) {
        text = icalvalue_get_uri(value);
    }
    return text == nullptr ? QString() : QString::fromUtf8(text).trimmed();
}

bool isAddress(const QString& email, const QString& other) {
    return !other.isEmpty() && email.compare(other, Qt::CaseInsensitive) == 0;
}

CalendarAttendee attendeeOf(icalproperty* property, const QString& ownEmail) {
    CalendarAttendee attendee;
    const QString address = QString::fromUtf8(icalproperty_get_attendee(property)).trimmed();
    if (address.startsWith(u"mailto:", Qt::CaseInsensitive)) {
        attendee.email = address.sliced(7);
    }
    if (icalparameter* name = icalproperty_get_first_parameter(property, ICAL_CN_PARAMETER)) {
        attendee.name = QString::fromUtf8(icalparameter_get_cn(name)).trimmed();
    }
    if (icalparameter* kind = icalproperty_get_first_parameter(property, ICAL_CUTYPE_PARAMETER)) {
        const icalparameter_cutype type = icalparameter_get_cutype(kind);
        attendee.kind = type == ICAL_CUTYPE_ROOM       ? CalendarAttendee::Kind::room
                        : type == ICAL_CUTYPE_RESOURCE ? CalendarAttendee::Kind::resource
                                                       : CalendarAttendee::Kind::person;
    }
    if (icalparameter* status = icalproperty_get_first_parameter(property, ICAL_PARTSTAT_PARAMETER)) {
        using Answer = CalendarAttendee::Answer;
        const icalparameter_partstat answer = icalparameter_get_partstat(status);
        attendee.answer = answer == ICAL_PARTSTAT_ACCEPTED    ? Answer::accepted
                          : answer == ICAL_PARTSTAT_TENTATIVE ? Answer::tentative
                          : answer == ICAL_PARTSTAT_DECLINED  ? Answer::declined
                                                              : Answer::open;
    }
    attendee.isCurrentUser = isAddress(attendee.email, ownEmail);
    return attendee;
}

CalendarEvent eventOf(icalcomponent* component, const QString& ownEmail) {
    CalendarEvent event;
    event.id = textOf(component, ICAL_UID_PROPERTY);
    event.title = textOf(component, ICAL_SUMMARY_PROPERTY);
    event.location = textOf(component, ICAL_LOCATION_PROPERTY);
    event.notes = textOf(component, ICAL_DESCRIPTION_PROPERTY);
    event.url = textOf(component, ICAL_URL_PROPERTY);
    event.isCanceled = icalcomponent_get_status(component) == ICAL_STATUS_CANCELLED;
    if (icalproperty* free = icalcomponent_get_first_property(component, ICAL_TRANSP_PROPERTY)) {
        const icalproperty_transp value = icalproperty_get_transp(free);
        event.isFree = value == ICAL_TRANSP_TRANSPARENT || value == ICAL_TRANSP_TRANSPARENTNOCONFLICT;
    }
    for (icalproperty* each = icalcomponent_get_first_property(component, ICAL_ATTENDEE_PROPERTY);
         each != nullptr && event.attendees.size() < mostAttendees;
         each = icalcomponent_get_next_property(component, ICAL_ATTENDEE_PROPERTY)) {
        event.attendees.append(attendeeOf(each, ownEmail));
    }
    return event;
}

CalendarTask taskOf(icalcomponent* component) {
    CalendarTask task;
    task.id = textOf(component, ICAL_UID_PROPERTY);
    task.title = textOf(component, ICAL_SUMMARY_PROPERTY);
    task.notes = textOf(component, ICAL_DESCRIPTION_PROPERTY);
    task.isDone = icalcomponent_get_status(component) == ICAL_STATUS_COMPLETED ||
                  icalcomponent_get_first_property(component, ICAL_COMPLETED_PROPERTY) != nullptr;
    if (icalproperty* due = icalcomponent_get_first_property(component, ICAL_DUE_PROPERTY)) {
        const icaltimetype time = icalproperty_get_due(due);
        if (isDateLike(time)) {
            task.due = time.is_date != 0
                           ? dayOf(time)
                           : QDateTime::fromSecsSinceEpoch(IcalZones().of(due, time).moment(time)).date();
        }
    }
    return task;
}

/// Without what no value can hold.
QString storable(QString text) {
    text.removeIf([](QChar c) { return c.unicode() < 0x20 && c != u'\t' && c != u'\n'; });
    return text;
}

/// A text as a value, and a line in pieces of at most 75 bytes, none of which ends within a letter.
void addLine(QByteArray& out, QByteArrayView name, const QString& text) {
    QString value = storable(text);
    value.replace(u'\\', u"\\\\"_s).replace(u';', u"\\;"_s).replace(u',', u"\\,"_s);
    value.replace(u'\n', u"\\n"_s);
    const QByteArray line = name.toByteArray() + ':' + value.toUtf8();
    constexpr qsizetype mostLineBytes = 74;
    for (qsizetype at = 0; at < line.size();) {
        qsizetype length = std::min(line.size() - at, mostLineBytes);
        while (at + length < line.size() && (uchar(line[at + length]) & 0xC0) == 0x80) {
            --length;
        }
        out.append(at == 0 ? "" : " ").append(QByteArrayView(line).sliced(at, length)).append("\r\n");
        at += length;
    }
}

QByteArray utcText(const QDateTime& time) {
    return time.toUTC().toString(u"yyyyMMdd'T'HHmmss'Z'"_s).toLatin1();
}

QByteArray begun(const char* kind, const QString& id, const QDateTime& stamp) {
    QByteArray out = "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//Lumbro//Lumbro//EN\r\nBEGIN:";
    out += kind;
    out += "\r\n";
    addLine(out, "UID", id);
    return out + "DTSTAMP:" + utcText(stamp) + "\r\nCREATED:" + utcText(stamp) + "\r\n";
}

}  // namespace

struct IcalFile::Reader {
    IcalFile& file;
    const QString& ownEmail;
    IcalZones zones;
    struct Event {
        std::shared_ptr<CalendarEvent> about;
        IcalSeries series;
        /// It stands for this occurrence of another one.
        std::optional<IcalInstance> instance;
    };
    std::vector<Event> events;

    void readZones(icalcomponent* parent) {
        each(parent, [this](icalcomponent* component, icalcomponent_kind kind) {
            if (kind == ICAL_VTIMEZONE_COMPONENT) {
                zones.addDescribed(component);
            } else if (kind == ICAL_VCALENDAR_COMPONENT) {
                readZones(component);
            }
        });
    }

    void readItems(icalcomponent* parent) {
        each(parent, [this](icalcomponent* component, icalcomponent_kind kind) {
            if (kind == ICAL_VCALENDAR_COMPONENT) {
                readItems(component);
            } else if (kind == ICAL_VEVENT_COMPONENT) {
                readEvent(component);
            } else if (kind == ICAL_VTODO_COMPONENT) {
                file.m_tasks.append(taskOf(component));
            }
        });
    }

    template <typename Action>
    static void each(icalcomponent* parent, Action action) {
        if (icalcomponent_isa(parent) != ICAL_VCALENDAR_COMPONENT &&
            icalcomponent_isa(parent) != ICAL_XROOT_COMPONENT) {
            action(parent, icalcomponent_isa(parent));
            return;
        }
        std::vector<icalcomponent*> children;
        for (icalcomponent* child = icalcomponent_get_first_component(parent, ICAL_ANY_COMPONENT);
             child != nullptr; child = icalcomponent_get_next_component(parent, ICAL_ANY_COMPONENT)) {
            children.push_back(child);
        }
        for (icalcomponent* child : children) {
            action(child, icalcomponent_isa(child));
        }
    }

    void readEvent(icalcomponent* component) {
        auto series = IcalSeries::read(component, zones);
        if (!series) {
            return;
        }
        const auto event = std::make_shared<CalendarEvent>(eventOf(component, ownEmail));
        event->isAllDay = series->isAllDay();
        const auto instance = IcalSeries::instance(component, zones);
        if (instance) {
            series->repeatNoMore();
        }
        events.push_back({event, *std::move(series), instance});
    }

    void finish() {
        QHash<QString, std::vector<const Event*>> standIns;
        for (const Event& event : events) {
            if (event.instance) {
                standIns[event.about->id].push_back(&event);
            }
        }
        for (Event& event : events) {
            const auto changed = event.instance ? standIns.cend() : standIns.constFind(event.about->id);
            if (changed != standIns.cend()) {
                pairsTaken += changed->size();
                if (pairsTaken <= mostPairs) {
                    change(event.series, *changed);
                } else {
                    file.m_lacksChanges = true;
                }
            }
            file.m_isCut = file.m_isCut || event.series.isCut();
            file.m_events.push_back({event.about, std::make_shared<const IcalSeries>(event.series)});
        }
    }

    /// Leaves out what others stand for, and where they stand for all that follows, ends the series with them
    /// and goes on as they say.
    void change(IcalSeries& series, const std::vector<const Event*>& standIns) {
        std::map<qint64, const Event*> changes;
        for (const Event* standIn : standIns) {
            series.leaveOut(*standIn->instance);
            if (standIn->instance->isFuture && series.repeats()) {
                changes[series.placeOf(*standIn->instance)] = standIn;
            }
        }
        const IcalSeries original = series;
        std::deque<std::pair<std::shared_ptr<CalendarEvent>, IcalSeries>> rests;
        IcalSeries* last = &series;
        for (const auto& [place, by] : changes) {
            if (changesTaken == mostChanges) {
                file.m_lacksChanges = true;
                break;
            }
            if (auto rest = original.changedAfter(place, by->series)) {
                ++changesTaken;
                last->endBefore(place);
                last = &rests.emplace_back(by->about, *std::move(rest)).second;
            } else {
                file.m_lacksChanges = true;
            }
        }
        for (auto& [about, rest] : rests) {
            file.m_events.push_back({about, std::make_shared<const IcalSeries>(std::move(rest))});
        }
    }

    size_t changesTaken = 0;
    size_t pairsTaken = 0;
};

namespace {

using Root = std::unique_ptr<icalcomponent, void (*)(icalcomponent*)>;

Root parsed(const QByteArray& text) {
    return {icalparser_parse_string(IcalText::withoutKnownZones(text).constData()), icalcomponent_free};
}

}  // namespace

IcalFile IcalFile::read(const QByteArray& bytes, const QString& ownEmail) {
    IcalFile file;
    file.m_isWhole = IcalText::isWhole(bytes);
    const QByteArray plain = bytes.startsWith("\xEF\xBB\xBF") ? bytes.sliced(3) : bytes;
    const std::optional<QByteArray> text =
        plain.size() > IcalTrim::worthwhile ? IcalTrim::of(plain) : std::optional(plain);
    if (!text || !IcalText::isBounded(*text)) {
        file.m_fault = Fault::tooMuch;
        return file;
    }
    if (text->contains('\0')) {
        file.m_fault = Fault::noCalendar;
        return file;
    }
    icalerror_set_errors_are_fatal(0);
    Root root = parsed(*text);
    if (!root) {
        root = parsed(IcalText::completePart(*text));
    }
    if (root) {
        Reader reader{file, ownEmail, {}, {}};
        reader.readZones(root.get());
        reader.readItems(root.get());
        reader.finish();
    } else {
        file.m_fault = Fault::noCalendar;
    }
    return file;
}

void IcalFile::setPlace(const QString& calendar, const QString& path) {
    for (const Entry& entry : m_events) {
        entry.event->calendar = calendar;
        entry.event->path = path;
    }
}

void IcalFile::markUser(const QString& email) {
    for (const Entry& entry : m_events) {
        for (CalendarAttendee& attendee : entry.event->attendees) {
            attendee.isCurrentUser = attendee.isCurrentUser || isAddress(attendee.email, email);
        }
    }
}

void IcalFile::addOccurrences(qint64 from, qint64 to, IcalBudget& budget,
                              std::vector<IcalOccurrence>& found) const {
    for (const Entry& entry : m_events) {
        for (const IcalSpan& span : entry.series->spans(from, to, budget)) {
            found.push_back({span.start, span.end, entry.event});
        }
    }
}

CalendarEvent IcalOccurrence::event() const {
    CalendarEvent event = *about;
    event.start = QDateTime::fromSecsSinceEpoch(start);
    event.end = QDateTime::fromSecsSinceEpoch(end);
    return event;
}

QString IcalFile::textAsRead(const QString& text) {
    return QString::fromUtf8(storable(text).toUtf8()).trimmed();
}

QByteArray IcalFile::written(const NewCalendarEvent& event, const QString& id, const QDateTime& stamp) {
    QByteArray out = begun("VEVENT", id, stamp);
    out += "DTSTART:" + utcText(event.start) + "\r\nDTEND:" + utcText(event.end) + "\r\n";
    addLine(out, "SUMMARY", event.title);
    if (!event.notes.isEmpty()) {
        addLine(out, "DESCRIPTION", event.notes);
    }
    return out + "END:VEVENT\r\nEND:VCALENDAR\r\n";
}

QByteArray IcalFile::written(const CalendarTask& task, const QString& id, const QDateTime& stamp) {
    QByteArray out = begun("VTODO", id, stamp);
    addLine(out, "SUMMARY", task.title);
    if (!task.notes.isEmpty()) {
        addLine(out, "DESCRIPTION", task.notes);
    }
    if (task.due) {
        out += "DUE;VALUE=DATE:" + task.due->toString(u"yyyyMMdd"_s).toLatin1() + "\r\n";
    }
    out += task.isDone ? "STATUS:COMPLETED\r\n" : "STATUS:NEEDS-ACTION\r\n";
    return out + "END:VTODO\r\nEND:VCALENDAR\r\n";
}

}  // namespace lumbro
