#include "library/model/InboxItem.h"

#include "LumbroCore/Literals.h"

namespace lumbro {

namespace {

struct IdOf {
    QString operator()(const inbox::Handoff& item) const { return u"handoff-"_s + item.captureID; }
    QString operator()(const inbox::Result& item) const {
        return u"result-%1-%2"_s.arg(item.captureID, item.engineID);
    }
    QString operator()(const pill::Answer& item) const {
        return u"answer-%1-%2"_s.arg(item.answer.thread, item.answer.question);
    }
    QString operator()(const pill::Prep& item) const { return u"prep-"_s + item.captureID; }
    QString operator()(const pill::Ideas&) const { return u"ideas"_s; }
    QString operator()(const pill::Promises&) const { return u"promises"_s; }
    QString operator()(const pill::Action& item) const { return u"action-"_s + item.runID; }
};

}  // namespace

QString inboxID(const InboxItem& item) {
    return std::visit(IdOf{}, item);
}

}  // namespace lumbro
