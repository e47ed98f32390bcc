#pragma once

#include "LumbroCore/Clock.h"
#include "platform/MailOpener.h"

namespace lumbro {

/// The desktop's own programs for mail: `xdg-email`, and `xdg-open` or `gio open` where that is missing. What
/// they start outlives us.
class DesktopMail final : public MailOpener {
  public:
    /// The clock must outlive every call.
    explicit DesktopMail(Clock& clock) : m_clock(clock) {}

    /// There is a screen to show a mail program on.
    static bool hasDesktop();

    Task<Result<>> compose(QByteArray url) override;
    Task<Result<>> openUrl(QByteArray url) override;

  private:
    Clock& m_clock;
};

}  // namespace lumbro
