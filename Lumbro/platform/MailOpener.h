#pragma once

#include "LumbroCore/Failure.h"
#include "LumbroCore/Task.h"

#include <QByteArray>

namespace lumbro {

/// What opens a draft in the user's mail program. Main thread.
class MailOpener {
  public:
    MailOpener() = default;
    MailOpener(const MailOpener&) = delete;
    MailOpener& operator=(const MailOpener&) = delete;
    virtual ~MailOpener() = default;

    /// Hands a "mailto:" address to the desktop's program for new mails. Fails when there is none, or when it
    /// fails.
    virtual Task<Result<>> compose(QByteArray url) = 0;
    /// Opens the address as any other link. Fails with a sentence for the user.
    virtual Task<Result<>> openUrl(QByteArray url) = 0;
};

}  // namespace lumbro
