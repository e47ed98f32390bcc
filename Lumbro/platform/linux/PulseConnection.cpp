#include "platform/linux/PulseConnection.h"

#include "platform/linux/AudioClientIdentity.h"

#include <QCoreApplication>
#include <QHash>

#include <pulse/context.h>
#include <pulse/introspect.h>
#include <pulse/proplist.h>
#include <pulse/subscribe.h>
#include <pulse/thread-mainloop.h>

namespace lumbro {

PulseLock::PulseLock(pa_threaded_mainloop* loop) : m_loop(loop) {
    pa_threaded_mainloop_lock(m_loop);
}

PulseLock::~PulseLock() {
    pa_threaded_mainloop_unlock(m_loop);
}

/// Collects the answers to one round of questions. Runs on the connection's thread.
struct PulseConnection::Reader {
    struct Recording {
        RecordingClient client;
        uint32_t source = PA_INVALID_INDEX;
    };

    PulseConnection* connection = nullptr;
    PulseSnapshot snapshot;
    QSet<uint32_t> microphoneIndexes;
    QList<Recording> recordings;
    int openQuestions = 0;
    /// Something changed while the answers came in.
    bool again = false;

    void begin();
    void ask(pa_operation* operation);
    void answered();
    void complete();
    void addSource(const pa_source_info& source);
    void addRecording(const pa_source_output_info& stream);
};

namespace {

QString text(const char* utf8) {
    return QString::fromUtf8(utf8);
}

QHash<QString, QString> propertiesOf(const pa_proplist* list) {
    QHash<QString, QString> properties;
    void* state = nullptr;
    while (const char* key = pa_proplist_iterate(list, &state)) {
        if (const char* value = pa_proplist_gets(list, key)) {
            properties.insert(text(key), text(value));
        }
    }
    return properties;
}

}  // namespace

void PulseConnection::Reader::ask(pa_operation* operation) {
    if (operation != nullptr) {
        ++openQuestions;
        pa_operation_unref(operation);
    }
}

void PulseConnection::Reader::begin() {
    snapshot = {};
    microphoneIndexes.clear();
    recordings.clear();
    pa_context* context = connection->m_context;
    ask(pa_context_get_server_info(
        context,
        [](pa_context*, const pa_server_info* info, void* data) {
            auto* reader = static_cast<Reader*>(data);
            if (info != nullptr) {
                reader->snapshot.defaults = {text(info->default_sink_name), text(info->default_source_name)};
                reader->snapshot.isPipeWire = text(info->server_name).contains(u"PipeWire");
            }
            reader->answered();
        },
        this));
    ask(pa_context_get_sink_info_list(
        context,
        [](pa_context*, const pa_sink_info* sink, int end, void* data) {
            auto* reader = static_cast<Reader*>(data);
            if (end != 0) {
                reader->answered();
            } else {
                reader->snapshot.state.outputs.append(
                    {text(sink->name), text(sink->description), false, text(sink->monitor_source_name)});
            }
        },
        this));
    ask(pa_context_get_source_info_list(
        context,
        [](pa_context*, const pa_source_info* source, int end, void* data) {
            auto* reader = static_cast<Reader*>(data);
            end != 0 ? reader->answered() : reader->addSource(*source);
        },
        this));
    ask(pa_context_get_source_output_info_list(
        context,
        [](pa_context*, const pa_source_output_info* stream, int end, void* data) {
            auto* reader = static_cast<Reader*>(data);
            end != 0 ? reader->answered() : reader->addRecording(*stream);
        },
        this));
}

void PulseConnection::Reader::addSource(const pa_source_info& source) {
    if (source.monitor_of_sink != PA_INVALID_INDEX) {
        snapshot.monitors.insert(text(source.name));
        return;
    }
    microphoneIndexes.insert(source.index);
    snapshot.state.microphones.append({text(source.name), text(source.description), false, {}});
}

void PulseConnection::Reader::addRecording(const pa_source_output_info& stream) {
    Recording recording;
    recording.source = stream.source;
    recording.client.properties = propertiesOf(stream.proplist);
    recording.client.hasClient = stream.client != PA_INVALID_INDEX;
    recording.client.corked = stream.corked != 0;
    recordings.append(recording);
}

void PulseConnection::Reader::answered() {
    if (--openQuestions > 0) {
        return;
    }
    if (std::exchange(again, false)) {
        begin();
    } else {
        complete();
    }
}

void PulseConnection::Reader::complete() {
    for (Recording& recording : recordings) {
        recording.client.onMicrophone = microphoneIndexes.contains(recording.source);
        const auto user = microphoneUser(recording.client, QCoreApplication::applicationPid());
        if (user && !snapshot.state.microphoneUsers.contains(*user)) {
            snapshot.state.microphoneUsers.append(*user);
        }
    }
    if (connection->m_events.onSnapshot) {
        connection->m_events.onSnapshot(snapshot);
    }
}

PulseConnection::PulseConnection(Events events)
    : m_events(std::move(events)), m_reader(std::make_unique<Reader>()) {
    m_reader->connection = this;
}

PulseConnection::~PulseConnection() {
    if (m_loop == nullptr) {
        return;
    }
    detach();
    if (m_context != nullptr) {
        const PulseLock lock(m_loop);
        m_probe.reset();
        pa_context_set_state_callback(m_context, nullptr, nullptr);
        pa_context_set_subscribe_callback(m_context, nullptr, nullptr);
        pa_context_disconnect(m_context);
        pa_context_unref(m_context);
    }
    pa_threaded_mainloop_stop(m_loop);
    pa_threaded_mainloop_free(m_loop);
}

void PulseConnection::detach() {
    const PulseLock lock(m_loop);
    m_events = {};
}

void PulseConnection::probeDefaults() {
    const PulseLock lock(m_loop);
    if (!m_probe) {
        m_probe = std::make_unique<PulseDefaultsProbe>(m_loop, [this](const PulseDefaults& defaults) {
            if (m_events.onDefaults) {
                m_events.onDefaults(defaults);
            }
        });
    }
    m_probe->ask();
}

bool PulseConnection::start() {
    m_loop = pa_threaded_mainloop_new();
    if (m_loop == nullptr) {
        return false;
    }
    pa_threaded_mainloop_set_name(m_loop, "audio-server");
    pa_proplist* properties = pa_proplist_new();
    pa_proplist_sets(properties, PA_PROP_APPLICATION_NAME, "Lumbro");
    pa_proplist_sets(properties, PA_PROP_APPLICATION_ID, "app.lumbro.Lumbro");
    m_context = pa_context_new_with_proplist(pa_threaded_mainloop_get_api(m_loop), "Lumbro", properties);
    pa_proplist_free(properties);
    if (m_context == nullptr) {
        return false;
    }
    pa_context_set_state_callback(
        m_context, [](pa_context*, void* data) { static_cast<PulseConnection*>(data)->stateChanged(); },
        this);
    return pa_context_connect(m_context, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) >= 0 &&
           pa_threaded_mainloop_start(m_loop) >= 0;
}

void PulseConnection::stateChanged() {
    const pa_context_state_t state = pa_context_get_state(m_context);
    if (state == PA_CONTEXT_READY) {
        const auto onEvent = [](pa_context*, pa_subscription_event_type_t, uint32_t, void* data) {
            static_cast<PulseConnection*>(data)->refresh();
        };
        pa_context_set_subscribe_callback(m_context, onEvent, this);
        const auto mask = static_cast<pa_subscription_mask_t>(
            PA_SUBSCRIPTION_MASK_SERVER | PA_SUBSCRIPTION_MASK_SINK | PA_SUBSCRIPTION_MASK_SOURCE |
            PA_SUBSCRIPTION_MASK_SOURCE_OUTPUT);
        if (pa_operation* subscribed = pa_context_subscribe(m_context, mask, nullptr, nullptr)) {
            pa_operation_unref(subscribed);
        }
        refresh();
    } else if (!PA_CONTEXT_IS_GOOD(state)) {
        if (const auto onLost = std::exchange(m_events, {}).onLost) {
            onLost();
        }
    }
}

void PulseConnection::refresh() {
    if (m_reader->openQuestions > 0) {
        m_reader->again = true;
    } else {
        m_reader->begin();
    }
}

}  // namespace lumbro
