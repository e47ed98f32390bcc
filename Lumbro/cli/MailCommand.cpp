#include "actions/MailDraft.h"
#include "actions/formats/GuestList.h"
#include "cli/Desk.h"
#include "cli/DraftJson.h"
#include "cli/DraftSource.h"
#include "cli/ExportCommands.h"
#include "platform/linux/desktop/DesktopMail.h"

#include <algorithm>

namespace lumbro::cli {

namespace {

/// The addresses that `--to` names, or the sentence that it names none.
Result<QStringList> recipientsOf(const QString& line) {
    QStringList addresses;
    for (const QString& guest : guestList::split(line)) {
        const QString address = guestList::email(guest);
        if (address.isEmpty()) {
            return fail(
                u"\"%1\" in --to has no mail address; give it as dana@example.org or Dana "
                "<dana@example.org>."_s.arg(Output::clean(guest)));
        }
        addresses.append(address);
    }
    addresses.removeDuplicates();
    if (addresses.isEmpty()) {
        return fail(u"--to names nobody; give it a mail address, or several with commas between them."_s);
    }
    return addresses;
}

/// The mail out of the texts, or the invitation to their event; or the sentence that there is none.
Result<EmailDraft> mailOf(const QList<DraftText>& texts, const Arguments& arguments, const QStringList& to) {
    const bool isInvitation = arguments.has("invite");
    EmailDraft mail;
    if (isInvitation) {
        const auto event = firstEvent(texts);
        if (!event) {
            return fail(noTimeSentence);
        }
        mail = event->first.invite();
    } else {
        const bool mayBeAny = !arguments.value("from").value_or(QString()).startsWith(u"capture:");
        auto text = std::ranges::find_if(texts, &DraftText::isMail);
        text = text == texts.end() && mayBeAny ? texts.begin() : text;
        if (text == texts.end()) {
            return fail(
                u"None of the capture's results is a mail; `lumbro engine-run followup ID` writes "
                u"one."_s);
        }
        mail = EmailDraft::parse(text->text, text->recipients);
    }
    if (!to.isEmpty()) {
        mail.to = to;
    }
    return mail;
}

}  // namespace

Task<int> mailDraftCommand(CommandContext context) {
    Output& output = context.output;
    const Arguments& arguments = context.arguments;
    const auto named = arguments.value("to");
    const auto to = named ? recipientsOf(*named) : Result<QStringList>();
    if (!to) {
        output.fail(to.error());
        output.say(usageLine(*findCommand({u"mail"_s, u"draft"_s}).command));
        co_return wrongUsage;
    }
    const auto texts = draftsFor(context, u"mail draft"_s);
    if (!texts) {
        co_return texts.error();
    }
    const auto mail = mailOf(*texts, arguments, *to);
    if (!mail) {
        co_return output.fail(mail.error());
    }
    Desk desk;
    DesktopMail opener(desk.clock);
    std::optional<Result<mailDraft::Opened>> opened;
    if (!arguments.has("dry-run")) {
        opened = co_await mailDraft::open(&opener, *mail);
    }
    const bool isOpen = opened && *opened;
    if (arguments.wantsJson()) {
        QJsonObject json = draftJson(*mail);
        json[u"opened"_s] = isOpen;
        output.printJson(json);
    } else {
        output.print(draftText(output, *mail));
    }
    if (opened && !*opened) {
        co_return output.fail(opened->error().message + u" The draft is above."_s);
    }
    if (isOpen) {
        output.say((*opened)->composed ? u"Draft open. Press Send there."_s : u"Draft opened in Mail"_s);
    }
    if (isOpen && (*opened)->isCut) {
        output.say(u"The draft was too long for a mail program to be handed; its end was left out there."_s);
    }
    co_return 0;
}

}  // namespace lumbro::cli
