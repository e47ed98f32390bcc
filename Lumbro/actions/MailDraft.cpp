#include "actions/MailDraft.h"

namespace lumbro::mailDraft {

Task<Result<Opened>> open(MailOpener* opener, EmailDraft draft) {
    Opened opened;
    // Both ways hand it to a program as one argument.
    const auto fitted = draft.fit();
    if (!fitted) {
        co_return std::unexpected(fitted.error());
    }
    opened.isCut = *fitted;
    const QByteArray url = draft.url();
    opened.composed = (co_await opener->compose(url)).has_value();
    if (!opened.composed) {
        if (const auto shown = co_await opener->openUrl(url); !shown) {
            co_return std::unexpected(shown.error());
        }
    }
    co_return opened;
}

}  // namespace lumbro::mailDraft
