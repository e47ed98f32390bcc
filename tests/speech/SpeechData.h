#pragma once

#include <QString>
#include <QStringList>

#include <vector>

namespace lumbro::test {

/// Path of a file of the speech evaluation set; empty when the set is not on this machine. Its folder is in
/// the environment variable LUMBRO_SPEECH_DATA, else beside the source tree.
QString speechData(const QString& name);

/// Path of a model file for tests; empty when it is not on this machine (LUMBRO_SPEECH_MODELS).
QString testModel(const QString& name);

/// Samples of a clip of the package pocketsphinx-testdata; empty when it is not installed.
std::vector<float> readLibrivox(const QString& name);

/// Samples of a mono 16 kHz WAV file of 16 bits, empty when it cannot be read.
std::vector<float> readWav(const QString& path);

/// Lower case words without punctuation.
QStringList wordsOf(const QString& text);

/// Word errors (insertions, deletions, substitutions) of a transcript.
struct WordErrors {
    int errors = 0;
    int words = 0;

    double rate() const { return words > 0 ? double(errors) / words : 0; }
};

WordErrors wordErrors(const QString& reference, const QString& hypothesis);

/// For each word of the hypothesis, the index of the same word of the reference that it stands for, or -1.
std::vector<int> alignWords(const QStringList& reference, const QStringList& hypothesis);

}  // namespace lumbro::test
