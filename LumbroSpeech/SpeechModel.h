#pragma once

#include <QString>
#include <QStringList>

namespace lumbro::speech {

/// One model that can be installed.
struct SpeechModel {
    enum class Kind { recognizer, voiceDetector };

    QString id;
    QString name;
    /// The file's name, on the server and in the models folder.
    QString fileName;
    Kind kind = Kind::recognizer;
    /// Locale identifiers that the model can write down.
    QStringList languages;
    /// About the file's size in bytes; exact once it is here.
    qint64 bytes = 0;
    /// Lower case hexadecimal digest that the file must have; empty means what the server says.
    QString sha1;
    /// From 0 for the quickest; a higher one is better and slower.
    int rank = 0;

    bool operator==(const SpeechModel&) const = default;
};

/// A model as the user sees it.
struct SpeechModelStatus {
    SpeechModel model;
    bool isInstalled = false;
    bool isInUse = false;
    /// Its file is here but can't be read: another kind of file, or not all of it. Never installed or in use.
    bool isBroken = false;

    bool operator==(const SpeechModelStatus&) const = default;
};

}  // namespace lumbro::speech
