#include "LumbroSpeech/RecognizedText.h"

#include "LumbroCore/Literals.h"

#include <QRegularExpression>
#include <QStringList>

namespace lumbro::speech {

namespace {

bool isMark(const QString& word) {
    return word.startsWith(u'<') || word.startsWith(u'[') || word.startsWith(u"++"_s);
}

QString withoutPronunciation(const QString& word) {
    const auto open = word.indexOf(u'(');
    return open > 0 && word.endsWith(u')') ? word.left(open) : word;
}

}  // namespace

QString readableWords(const QString& hypothesis) {
    QStringList words;
    for (const QString& raw : hypothesis.split(u' ', Qt::SkipEmptyParts)) {
        if (isMark(raw)) {
            continue;
        }
        QString word = withoutPronunciation(raw);
        if (word == u"i"_s || word.startsWith(u"i'"_s)) {
            word[0] = u'I';
        }
        words.append(word);
    }
    QString text = words.join(u' ');
    if (!text.isEmpty()) {
        text[0] = text[0].toUpper();
    }
    return text;
}

QString withoutSoundMarks(const QString& text) {
    static const QRegularExpression marks(u"\\[[^\\]]*\\]|\\([^)]*\\)|\\*[^*]*\\*|♪"_s);
    QString kept = text;
    return kept.remove(marks).simplified();
}

}  // namespace lumbro::speech
