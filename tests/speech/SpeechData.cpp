#include "tests/speech/SpeechData.h"

#include "LumbroCore/AtomicFile.h"
#include "LumbroCore/Literals.h"

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>
#include <QtEndian>

#include <algorithm>

namespace lumbro::test {

namespace {

QString fileIn(const char* variable, const QString& folder, const QString& name) {
    const QString beside = QStringLiteral(LUMBRO_SOURCE_DIR "/../shared/") + folder;
    const QString path = QDir(qEnvironmentVariable(variable, beside)).filePath(name);
    return QFileInfo::exists(path) ? path : QString();
}

/// Edit distances of all prefixes: [i][j] of i reference words and j words heard.
std::vector<std::vector<int>> distances(const QStringList& reference, const QStringList& heard) {
    const auto rows = static_cast<size_t>(reference.size());
    const auto columns = static_cast<size_t>(heard.size());
    std::vector table(rows + 1, std::vector<int>(columns + 1));
    for (size_t i = 0; i <= rows; ++i) {
        for (size_t j = 0; j <= columns; ++j) {
            if (i == 0 || j == 0) {
                table[i][j] = static_cast<int>(i + j);
                continue;
            }
            const int differs = reference[qsizetype(i) - 1] == heard[qsizetype(j) - 1] ? 0 : 1;
            table[i][j] = std::min({table[i - 1][j - 1] + differs, table[i - 1][j] + 1, table[i][j - 1] + 1});
        }
    }
    return table;
}

}  // namespace

QString speechData(const QString& name) {
    return fileIn("LUMBRO_SPEECH_DATA", u"audio"_s, name);
}

QString testModel(const QString& name) {
    return fileIn("LUMBRO_SPEECH_MODELS", u"models"_s, name);
}

std::vector<float> readLibrivox(const QString& name) {
    return readWav(u"/usr/share/pocketsphinx/test/data/librivox/"_s + name);
}

std::vector<float> readWav(const QString& path) {
    const QByteArray bytes = readFile(path).value_or(QByteArray());
    const auto chunk = bytes.indexOf("data");
    if (!bytes.startsWith("RIFF") || chunk < 0 || bytes.size() < chunk + 8) {
        return {};
    }
    std::vector<float> samples;
    for (qsizetype at = chunk + 8; at + 1 < bytes.size(); at += 2) {
        samples.push_back(float(qFromLittleEndian<qint16>(bytes.constData() + at)) / 32768.F);
    }
    return samples;
}

QStringList wordsOf(const QString& text) {
    static const QRegularExpression other(u"[^a-z' ]"_s);
    return text.toLower().replace(u'-', u' ').remove(other).split(u' ', Qt::SkipEmptyParts);
}

WordErrors wordErrors(const QString& reference, const QString& hypothesis) {
    const QStringList words = wordsOf(reference);
    return {distances(words, wordsOf(hypothesis)).back().back(), static_cast<int>(words.size())};
}

std::vector<int> alignWords(const QStringList& reference, const QStringList& hypothesis) {
    const auto table = distances(reference, hypothesis);
    std::vector<int> match(static_cast<size_t>(hypothesis.size()), -1);
    auto i = static_cast<size_t>(reference.size());
    auto j = static_cast<size_t>(hypothesis.size());
    while (i > 0 && j > 0) {
        const bool isSame = reference[qsizetype(i) - 1] == hypothesis[qsizetype(j) - 1];
        if (isSame && table[i][j] == table[i - 1][j - 1]) {
            match[--j] = static_cast<int>(--i);
        } else if (table[i][j] == table[i - 1][j - 1] + 1) {
            --i;
            --j;
        } else if (table[i][j] == table[i - 1][j] + 1) {
            --i;
        } else {
            --j;
        }
    }
    return match;
}

}  // namespace lumbro::test
