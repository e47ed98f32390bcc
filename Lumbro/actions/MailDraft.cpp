#include "actions/MailDraft.h"

namespace lumbro::mailDraft {

namespace {

/// What the compose program is told. A recipient that looks like an option would be taken for one.
QStringList arguments(const EmailDraft& draft) {
    QStringList arguments{u"--utf8"_s, u"--subject"_s, draft.subject, u"--body"_s, draft.body};
    for (const QString& recipient : draft.to) {
        if (!recipient.startsWith(u'-')) {
            arguments.append(recipient);
        }
    }
    return arguments;
}

}  // namespace

Task<Result<Opened>> open(MailOpener* opener, EmailDraft draft) {
    Opened opened;
    // The compose program makes an address of it too, so that both ways have the same limit.
    opened.isCut = draft.fit();
    opened.composed = (co_await opener->compose(arguments(draft))).has_value();
    if (!opened.composed) {
        if (const auto shown = co_await opener->openUrl(draft.url()); !shown) {
            co_return std::unexpected(shown.error());
        }
    }
    co_return opened;
}

}  // namespace lumbro::mailDraft
