#include "library/VoiceShelf.h"

#include "LumbroCore/AppLog.h"
#include "LumbroCore/AtomicFile.h"
#include "LumbroCore/Literals.h"
#include "LumbroCore/Text.h"
#include "engines/formats/Frontmatter.h"

#include <QDir>

#include <algorithm>
#include <utility>

namespace lumbro {

VoiceShelf::VoiceShelf(QString folder) : m_folder(std::move(folder)) {}

void VoiceShelf::reload() {
    QList<Voice> voices;
    const QDir folder(m_folder);
    const QStringList names = folder.entryList({u"*.md"_s}, QDir::Files | QDir::CaseSensitive, QDir::Name);
    for (const QString& name : names) {
        const auto text = readTextFile(folder.filePath(name));
        if (!text) {
            continue;
        }
        const Frontmatter::Parsed parsed = Frontmatter::parse(*text);
        const QString id = name.chopped(3);
        voices.append({id, parsed.value(u"name"_s).value_or(id), parsed.body});
    }
    std::ranges::stable_sort(voices, {}, &Voice::name);
    if (voices == m_voices) {
        return;
    }
    m_voices = std::move(voices);
    if (onChanged) {
        onChanged();
    }
}

std::optional<Voice> VoiceShelf::save(const QString& name, const QString& samples) {
    QString id = slugified(name);
    if (id.isEmpty()) {
        id = u"my-voice"_s;
    }
    const QString text =
        uR"(---
name: %1
---
Write like the samples below. Match their sentence length, rhythm, word choice, and how they open and close.
Never copy a sentence from them word for word.

## Samples

%2
)"_s.arg(name, samples);
    const auto written = writeFileAtomically(m_folder + u'/' + id + u".md"_s, text.toUtf8());
    if (!written) {
        AppLog::error(u"library"_s, written.error().message);
    }
    reload();
    const auto it = std::ranges::find(m_voices, id, &Voice::id);
    return it == m_voices.end() ? std::nullopt : std::optional(*it);
}

}  // namespace lumbro
