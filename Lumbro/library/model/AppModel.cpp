#include "library/model/AppModel.h"

#include "library/ContextLibrary.h"

#include <algorithm>
#include <utility>

namespace lumbro {

AppModel::AppModel(ContextLibrary& library, Settings& settings, Clock& clock, AgentProvider& agent,
                   Ports ports)
    : m_library(library),
      m_settings(settings),
      m_ports(std::move(ports)),
      m_pill(
          clock, [this] { return m_captures.isRecording(); }, m_ports.pillIsHovering),
      m_state(m_ports.showLibrary),
      m_naming(library, agent, m_background),
      m_runs({.library = library,
              .agent = agent,
              .pill = m_pill,
              .naming = m_naming,
              .background = m_background,
              .isRecording = [this] { return m_captures.isRecording(); },
              .voice = [this] { return selectedVoice(); },
              .calendarContext = m_ports.calendarContext,
              .exportSlides = m_ports.exportSlides}),
      m_captures({.library = library,
                  .clock = clock,
                  .pill = m_pill,
                  .state = m_state,
                  .runs = m_runs,
                  .naming = m_naming,
                  .background = m_background,
                  .ports = m_ports}),
      m_asks({.library = library,
              .pill = m_pill,
              .state = m_state,
              .runs = m_runs,
              .ports = m_ports,
              .session = [this] { return m_captures.session(); }}) {
    connect(&m_runs, &EngineRuns::handoffWritten, this, &AppModel::bumpRevision);
    connect(&m_naming, &CaptureNaming::renamed, this, &AppModel::bumpRevision);
    connect(&m_naming, &CaptureNaming::renamed, &m_captures, &CaptureFlow::retitle);
}

AppModel::~AppModel() = default;

QString AppModel::selectedVoiceID() const {
    return m_settings.string(u"selectedVoiceID"_s);
}

void AppModel::setSelectedVoiceID(const QString& id) {
    if (id != selectedVoiceID()) {
        m_settings.set(u"selectedVoiceID"_s, id.isEmpty() ? QVariant() : QVariant(id));
        Q_EMIT selectedVoiceIDChanged();
    }
}

std::optional<Voice> AppModel::selectedVoice() const {
    const QList<Voice>& voices = m_library.voices();
    const auto found = std::ranges::find(voices, selectedVoiceID(), &Voice::id);
    return found == voices.end() ? std::nullopt : std::optional(*found);
}

void AppModel::bumpRevision() {
    ++m_revision;
    Q_EMIT revisionChanged();
}

QString AppModel::enhanceID() const {
    const auto engine = m_library.enhanceEngine();
    return engine ? engine->id : u"notes"_s;
}

}  // namespace lumbro
