#include "actions/formats/ActionPrompt.h"

#include "LumbroCore/Literals.h"

#include <algorithm>

namespace lumbro::actionPrompt {

QString system() {
    return u"You act for the user in one app, using only that app's tools. \"Me\" is the user.\n"
           "Do exactly the INSTRUCTION with the CONTENT. Do not ask questions. If something you need is "
           "missing, stop and say what.\n"
           "Never delete, archive or change anything that already exists unless the INSTRUCTION says to.\n"
           "Before you create something, look for one with the same title made today. If it exists, don't "
           "make it again; list it as an item.\n"
           "After you create or change something, read it back with the app's tools. An item is verified "
           "only if the read-back shows it.\n"
           "End with exactly one line, and nothing after it:\n"
           "RESULT: {\"status\":\"done|partial|failed\",\"summary\":\"<one short sentence, e.g. Added 3 "
           "tasks to Todoist>\",\"items\":[{\"title\":\"...\",\"url\":\"<the item's web link from the "
           "tools, or empty>\",\"verified\":true}]}"_s;
}

QString instruction(const QString& app) {
    return u"Do the instruction in stdin with %1."_s.arg(app);
}

QString forAnswer(const QString& question, const QString& app) {
    return u"I asked Lumbro: “%1”. Do that in %2, using the CONTENT below, which Lumbro prepared for it."_s
        .arg(question, app);
}

QString input(const ActionRun& run) {
    return u"# INSTRUCTION\n"_s + run.instruction + u"\n\n# FROM\n"_s + run.about + u"\n\n# CONTENT\n"_s +
           run.content;
}

bool allowsDestructive(const QString& instruction) {
    const QString lower = instruction.toLower();
    return std::ranges::any_of(std::initializer_list<QStringView>{u"delete", u"remove", u"archive", u"trash"},
                               [&](QStringView word) { return lower.contains(word); });
}

}  // namespace lumbro::actionPrompt
