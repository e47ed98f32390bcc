#include "platform/linux/PulseDefaultsProbe.h"

#include <utility>

#include <pulse/context.h>
#include <pulse/introspect.h>
#include <pulse/thread-mainloop.h>

namespace lumbro {

PulseDefaultsProbe::PulseDefaultsProbe(pa_threaded_mainloop* loop, Answer answer)
    : m_loop(loop), m_answer(std::move(answer)) {}

PulseDefaultsProbe::~PulseDefaultsProbe() {
    finish();
}

void PulseDefaultsProbe::ask() {
    if (m_context != nullptr) {
        return;
    }
    m_context = pa_context_new(pa_threaded_mainloop_get_api(m_loop), "Lumbro");
    if (m_context == nullptr) {
        return;
    }
    pa_context_set_state_callback(
        m_context, [](pa_context*, void* data) { static_cast<PulseDefaultsProbe*>(data)->stateChanged(); },
        this);
    if (pa_context_connect(m_context, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0) {
        finish();
    }
}

void PulseDefaultsProbe::stateChanged() {
    const pa_context_state_t state =
        m_context == nullptr ? PA_CONTEXT_FAILED : pa_context_get_state(m_context);
    if (!PA_CONTEXT_IS_GOOD(state)) {
        finish();
        return;
    }
    if (state != PA_CONTEXT_READY) {
        return;
    }
    const auto take = [](pa_context*, const pa_server_info* info, void* data) {
        auto* probe = static_cast<PulseDefaultsProbe*>(data);
        const PulseDefaults defaults =
            info == nullptr ? PulseDefaults()
                            : PulseDefaults{.sink = QString::fromUtf8(info->default_sink_name),
                                            .source = QString::fromUtf8(info->default_source_name)};
        probe->finish();
        if (info != nullptr) {
            probe->m_answer(defaults);
        }
    };
    if (pa_operation* asked = pa_context_get_server_info(m_context, take, this)) {
        pa_operation_unref(asked);
    } else {
        finish();
    }
}

void PulseDefaultsProbe::finish() {
    if (pa_context* context = std::exchange(m_context, nullptr)) {
        pa_context_set_state_callback(context, nullptr, nullptr);
        pa_context_disconnect(context);
        pa_context_unref(context);
    }
}

}  // namespace lumbro
