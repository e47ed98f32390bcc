#include "platform/linux/AudioClientIdentity.h"

#include <gtest/gtest.h>

using namespace lumbro;

TEST(MicrophoneUser, isKnownByItsBestIdentity) {
    const auto app = u"application.name"_s;
    const auto binary = u"application.process.binary"_s;
    const auto id = u"application.id"_s;
    const auto portal = u"pipewire.access.portal.app_id"_s;
    struct Row {
        QHash<QString, QString> properties;
        MicrophoneUser user;
    };
    const std::vector<Row> rows = {
        {{{app, u"ZOOM VoiceEngine"_s}, {binary, u"zoom"_s}}, {u"Zoom"_s, u"us.zoom.xos"_s}},
        {{{portal, u"us.zoom.Zoom"_s}, {app, u"x"_s}}, {u"Zoom"_s, u"us.zoom.xos"_s}},
        {{{app, u"Chromium input"_s}, {binary, u"slack"_s}}, {u"Slack"_s, u"com.tinyspeck.slackmacgap"_s}},
        {{{app, u"Google Chrome input"_s}, {binary, u"chrome"_s}}, {u"Chrome"_s, u"com.google.Chrome"_s}},
        {{{app, u"Firefox"_s}, {binary, u"firefox-esr"_s}}, {u"Firefox"_s, u"org.mozilla.firefox"_s}},
        {{{app, u"Chromium input"_s}, {binary, u"msedge"_s}}, {u"Edge"_s, u"com.microsoft.edgemac"_s}},
        {{{portal, u"com.brave.Browser"_s}, {binary, u"brave"_s}}, {u"Brave"_s, u"com.brave.Browser"_s}},
        {{{app, u"Chromium input"_s}, {binary, u"vivaldi-bin"_s}}, {u"Vivaldi"_s, u"com.google.Chrome"_s}},
        {{{id, u"org.mozilla.firefox"_s}, {app, u"Nightly"_s}}, {u"Firefox"_s, u"org.mozilla.firefox"_s}},
        {{{binary, u"Discord"_s}}, {u"Discord"_s, u"com.hnc.Discord"_s}},
        {{{binary, u"teams-for-linux"_s}}, {u"Teams"_s, u"com.microsoft.teams2"_s}},
        {{{id, u"org.gnome.SoundRecorder"_s}, {app, u"Sound Recorder"_s}, {binary, u"gjs"_s}},
         {u"Sound Recorder"_s, u"org.gnome.SoundRecorder"_s}},
        {{{binary, u"arecord"_s}}, {u"arecord"_s, u"arecord"_s}},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(microphoneUser({row.properties}, 1), row.user) << qUtf8Printable(row.user.bundleID);
    }
}

TEST(MicrophoneUser, isNobodyWhoDoesNotListen) {
    const QHash<QString, QString> zoom = {{u"application.process.binary"_s, u"zoom"_s},
                                          {u"application.process.id"_s, u"77"_s}};
    const auto with = [&](const QString& key, const QString& value) {
        auto properties = zoom;
        properties.insert(key, value);
        return properties;
    };
    ASSERT_TRUE(microphoneUser({zoom}, 1));
    const std::vector<RecordingClient> rows = {
        {zoom, false},
        {zoom, true, true},
        {zoom, true, false, false},
        {with(u"stream.monitor"_s, u"true"_s)},
        {with(u"media.name"_s, u"Peak detect"_s)},
        {with(u"application.id"_s, u"org.PulseAudio.pavucontrol"_s)},
        {{}},
    };
    for (size_t i = 0; i < rows.size(); ++i) {
        EXPECT_FALSE(microphoneUser(rows[i], 1)) << "row " << i;
    }
    EXPECT_FALSE(microphoneUser({zoom}, 77));
}
