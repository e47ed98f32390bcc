#pragma once

#include "LumbroCore/Failure.h"
#include "LumbroCore/Task.h"
#include "actions/formats/EmailDraft.h"
#include "platform/MailOpener.h"

namespace lumbro::mailDraft {

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

}  // namespace lumbro::mailDraft
