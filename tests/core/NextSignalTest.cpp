#include "LumbroCore/NextSignal.h"
#include "LumbroCore/Task.h"

#include <QCoreApplication>
#include <QTimer>

#include <gtest/gtest.h>

namespace lumbro {

namespace {

Task<> countNext(QTimer* sender, int* count) {
    co_await nextSignal(sender, &QObject::objectNameChanged);
    ++*count;
}

TEST(NextSignal, GoesOnOnceHoweverOftenTheSignalIsSent) {
    QTimer sender;
    int count = 0;
    runDetached(countNext(&sender, &count));
    sender.setObjectName("one");
    sender.setObjectName("two");
    EXPECT_EQ(count, 0);
    QCoreApplication::processEvents();
    EXPECT_EQ(count, 1);
    sender.setObjectName("three");
    QCoreApplication::processEvents();
    EXPECT_EQ(count, 1);
}

}  // namespace

}  // namespace lumbro
