#include "LumbroCore/Clock.h"
#include "library/CaptureFiles.h"
#include "library/CaptureRename.h"
#include "library/ContextLibrary.h"
#include "recording/CaptureSaving.h"
#include "tests/support/ScratchFolder.h"

#include <atomic>
#include <thread>

#include <gtest/gtest.h>

namespace lumbro {
namespace {

TEST(CaptureSaving, twoWritersOfOneMetaLoseNothingOfEachOther) {
    constexpr int rounds = 150;
    const test::ScratchFolder scratch;
    SystemClock clock;
    ContextLibrary library(scratch.path(), clock);
    library.open();
    const CaptureRecord record =
        library.createCapture(CaptureKind::meeting, u"Meeting"_s, {}, QDateTime::currentDateTime());
    std::atomic<int> titlesLost = 0;
    std::thread renaming([&] {
        for (int i = 0; i < rounds; ++i) {
            const QString title = u"Title %1"_s.arg(i);
            [[maybe_unused]] const auto renamed = renameCapture(record, title);
            const auto onDisk = captureFiles::meta(record);
            titlesLost += onDisk && onDisk->title == title ? 0 : 1;
        }
    });
    CaptureSaving saving(library, record);
    int applicationsLost = 0;
    for (int i = 0; i < rounds; ++i) {
        const QString application = u"Application %1"_s.arg(i);
        saving.ownMeta().callApp = application;
        saving.saveRecord();
        const auto onDisk = captureFiles::meta(record);
        applicationsLost += onDisk && onDisk->callApp == application ? 0 : 1;
    }
    renaming.join();
    EXPECT_EQ(titlesLost, 0);
    EXPECT_EQ(applicationsLost, 0);
}

}  // namespace
}  // namespace lumbro
