#pragma once

#include "engines/formats/Voice.h"

#include <QList>
#include <QString>

#include <functional>
#include <optional>

namespace lumbro {

/// The writing voices in the user's folder. Main thread.
class VoiceShelf {
  public:
    explicit VoiceShelf(QString folder);

    /// Called after the list has changed.
    std::function<void()> onChanged;

    /// Sorted by name.
    const QList<Voice>& voices() const { return m_voices; }
    void reload();
    /// Writes a voice made of samples and gives it as it reads back; nothing when it could not be written.
    std::optional<Voice> save(const QString& name, const QString& samples);

  private:
    QString m_folder;
    QList<Voice> m_voices;
};

}  // namespace lumbro
