#include "platform/linux/desktop/ServiceReading.h"

#include <gtest/gtest.h>

using namespace lumbro;

namespace {

/// A service that gives what it is told to.
class Given final : public CalendarService {
  public:
    QList<QByteArray> files;

    void post(std::function<void(CalendarService& service)> work) override { work(*this); }
    void cancel() override {}
    Result<ServiceLists> lists() override {
        return ServiceLists{.calendars = {{.list = {u"c"_s, u"Work"_s}}}};
    }
    Result<ServiceItems> events(const QString&, qint64, qint64) override {
        return ServiceItems{.ownEmail = u"ME@example.org"_s, .files = files};
    }
    Result<ServiceItems> tasks(const QString&) override { return ServiceItems{}; }
    Result<QList<QByteArray>> add(Kind, const QString&, const QList<QByteArray>& given) override {
        return given;
    }
    Result<ServiceList> makeTaskList(const QString&) override { return fail(QString()); }
    Result<> renameTaskList(const QString&, const QString&) override { return {}; }
    void watch(std::function<void()>) override {}
};

QByteArray vevent(const QByteArray& id, const QByteArray& lines) {
    return "BEGIN:VEVENT\r\nUID:" + id + "\r\nSUMMARY:" + id + "\r\n" + lines + "END:VEVENT\r\n";
}

QByteArray file(const QByteArray& events) {
    return "BEGIN:VCALENDAR\r\nVERSION:2.0\r\n" + events + "END:VCALENDAR\r\n";
}

}  // namespace

TEST(ServiceReading, hostileItemsLeaveTheOthersTheirShare) {
    Given service;
    QByteArray hostile;
    for (int i = 0; i < 500; ++i) {
        hostile += vevent(QByteArray::number(i),
                          "DTSTART:19010101T000000\r\nRRULE:FREQ=DAILY;BYHOUR=1,2,3;COUNT=2000000000\r\n");
    }
    for (int i = 0; i < 15; ++i) {
        service.files.append(file(hostile));
        service.files.append(file(vevent("good",
                                         "DTSTART:20260302T090000Z\r\nRRULE:FREQ=MONTHLY;BYDAY=1MO,3TU\r\n"
                                         "ATTENDEE:mailto:me@example.org\r\n")));
    }
    service.files.append(file(vevent("busy", "DTSTART:20260301T000000Z\r\nRRULE:FREQ=HOURLY;COUNT=600\r\n")));
    const QDateTime from(QDate(2026, 3, 1), QTime(0, 0), Qt::UTC);
    const auto reading =
        serviceReading::events(service, {}, from.toSecsSinceEpoch(), from.addDays(40).toSecsSinceEpoch());
    ASSERT_TRUE(reading);
    EXPECT_EQ(std::ranges::count(reading->events, u"good"_s, &CalendarEvent::title), 15 * 3);
    EXPECT_EQ(std::ranges::count(reading->events, u"busy"_s, &CalendarEvent::title), 600);
    EXPECT_TRUE(std::ranges::is_sorted(reading->events, {}, &CalendarEvent::start));
    const auto good = std::ranges::find(reading->events, u"good"_s, &CalendarEvent::title);
    EXPECT_TRUE(good->attendees.value(0).isCurrentUser);
}
