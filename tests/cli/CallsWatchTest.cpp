#include "tests/cli/CommandLine.h"
#include "tests/support/PrivateAudioServer.h"
#include "tests/support/Program.h"
#include "tests/support/Wait.h"

#include <gtest/gtest.h>

using namespace lumbro;
using namespace lumbro::test;

namespace {

/// `lumbro calls watch` beside programs that use the microphone of a real audio server.
class CallsWatch : public testing::TestWithParam<PrivateAudioServer::Kind> {
  protected:
    void SetUp() override {
        if (!PrivateAudioServer::isInstalled(GetParam())) {
            GTEST_SKIP() << "the audio server's programs are not installed";
        }
        ASSERT_TRUE(audio.start() && audio.addRoom()) << qUtf8Printable(audio.log());
        line.set(u"PULSE_SERVER"_s, qEnvironmentVariable("PULSE_SERVER"));
    }

    std::unique_ptr<Program> watch(const QStringList& options) const {
        ProgramSetting setting;
        setting.environment = line.environment();
        setting.output = line.home().path(u"output"_s);
        setting.errors = line.home().path(u"errors"_s);
        return std::make_unique<Program>(
            QStringList{CommandLine::program(), u"calls"_s, u"watch"_s} + options, setting);
    }
    bool isSaid(const QString& file, const QByteArray& words) const {
        return eventually([&] { return line.home().read(file).contains(words); });
    }
    Program& call() {
        return audio.run(u"parec"_s, {u"--device=virtmic"_s, u"--client-name=zoom"_s,
                                      u"--property=application.process.binary=zoom"_s});
    }

    PrivateAudioServer audio{GetParam()};
    CommandLine line;
};

}  // namespace

TEST_P(CallsWatch, printsALineForEachStartAndEnd) {
    const auto watching = watch({u"--json"_s});
    ASSERT_TRUE(isSaid(u"errors"_s, "Watching for calls"));
    Program& zoom = call();
    EXPECT_TRUE(isSaid(u"output"_s, R"({"bundleID":"us.zoom.xos","event":"started","name":"Zoom"})"
                                    "\n"));
    zoom.terminate();
    EXPECT_TRUE(isSaid(u"output"_s, R"({"bundleID":"us.zoom.xos","event":"ended","name":"Zoom"})"
                                    "\n"));
    audio.stop();
    EXPECT_TRUE(isSaid(u"errors"_s, "The audio server has gone; waiting for it.\n"));
    ASSERT_TRUE(audio.start() && audio.addRoom()) << qUtf8Printable(audio.log());
    EXPECT_TRUE(isSaid(u"errors"_s, "The audio server is back.\n"));
    watching->terminate();
    EXPECT_EQ(watching->wait(), 0);
}

INSTANTIATE_TEST_SUITE_P(Calls, CallsWatch,
                         testing::Values(PrivateAudioServer::Kind::pulseAudio,
                                         PrivateAudioServer::Kind::pipeWire),
                         [](const auto& info) {
                             return info.param == PrivateAudioServer::Kind::pulseAudio ? "pulseAudio"
                                                                                       : "pipeWire";
                         });

TEST(CallsWatchWithoutServer, saysWhatToDo) {
    const CommandLine line;
    const Finished finished = line.run({u"calls"_s, u"watch"_s});
    EXPECT_EQ(finished.status, 1);
    EXPECT_EQ(finished.errors,
              u"lumbro: No audio server answers. Start PipeWire or PulseAudio, then try again.\n"_s);
}
