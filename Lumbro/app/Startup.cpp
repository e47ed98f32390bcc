#include "app/Startup.h"

#include "LumbroCore/AppLog.h"

#include <utility>

namespace lumbro {

const QStringList& Startup::order() {
    static const QStringList names{
        u"activationPolicy"_s, u"library"_s,      u"textServices"_s, u"pill"_s,         u"dictation"_s,
        u"librarianCatchUp"_s, u"callDetector"_s, u"meetingPrep"_s,  u"dailyIdeas"_s,   u"promiseReminder"_s,
        u"sessionImporter"_s,  u"engineInbox"_s,  u"connectors"_s,   u"actionRunner"_s, u"ask"_s,
        u"hotKeys"_s,          u"statusItem"_s,   u"onboarding"_s,   u"speechAssets"_s,
    };
    return names;
}

void Startup::setStep(const QString& name, Step step) {
    Q_ASSERT(order().contains(name));
    m_steps[name] = std::move(step);
}

QStringList Startup::run() {
    QStringList performed;
    for (const QString& name : order()) {
        const auto found = m_steps.find(name);
        if (found == m_steps.end() || !found->second) {
            continue;
        }
        performed.append(name);
        if (const Result<> done = found->second(); !done) {
            AppLog::error(u"startup"_s, name + u": "_s + done.error().message);
        }
    }
    return performed;
}

}  // namespace lumbro
