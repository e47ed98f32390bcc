#pragma once

#include "LumbroCore/Failure.h"
#include "LumbroCore/Task.h"
#include "actions/formats/EmailDraft.h"

#include <QString>
#include <QStringList>

namespace lumbro {

/// What opens a draft in the user's mail program. Main thread.
class MailOpener {
  public:
    MailOpener() = default;
    MailOpener(const MailOpener&) = delete;
    MailOpener& operator=(const MailOpener&) = delete;
    virtual ~MailOpener() = default;

    /// Runs the desktop's compose program with these arguments. Fails when there is none, or when it fails.
    virtual Task<Result<>> compose(QStringList arguments) = 0;
    /// Opens a "mailto:" address.
    virtual Task<Result<>> openUrl(QByteArray url) = 0;
};

namespace mailDraft {

/// How a draft was handed over.
struct Opened {
    /// By the desktop's own compose program, rather than by an address.
    bool composed = false;
    /// The body was too long and its end was left out.
    bool isCut = false;

    bool operator==(const Opened&) const = default;
};

/// Shows the draft in the user's mail program; sending is left to the user. The opener must outlive it. Fails
/// with a sentence for the user.
Task<Result<Opened>> open(MailOpener* opener, EmailDraft draft);

}  // namespace mailDraft

}  // namespace lumbro
