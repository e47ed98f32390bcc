#pragma once

#include <QDirIterator>
#include <QFile>
#include <QStringList>

#include <sys/fsuid.h>
#include <sys/stat.h>
#include <unistd.h>

namespace lumbro::test {

/// While it lives, this thread and those that it starts meet closed files as a person does who may not read
/// them: root, who may read everything, works with files as nobody. Takes over the files below `folder`.
class Nobody {
  public:
    explicit Nobody(const QString& folder) {
        constexpr uid_t nobody = 65534;
        if (geteuid() != 0) {
            return;
        }
        QStringList paths{folder};
        QDirIterator it(folder, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                        QDirIterator::Subdirectories);
        while (it.hasNext()) {
            paths.append(it.next());
        }
        for (const QString& path : std::as_const(paths)) {
            m_isWhole = lchown(QFile::encodeName(path).constData(), nobody, nobody) == 0 && m_isWhole;
        }
        setfsgid(nobody);
        setfsuid(nobody);
    }
    Nobody(const Nobody&) = delete;
    Nobody& operator=(const Nobody&) = delete;
    ~Nobody() {
        for (const QString& path : std::as_const(m_closed)) {
            open(path);
        }
        setfsuid(geteuid());
        setfsgid(getegid());
    }

    /// Takes all rights to the file or folder away, until the end at the latest. False when that fails.
    bool close(const QString& path) {
        m_closed.append(path);
        return m_isWhole && chmod(QFile::encodeName(path).constData(), 0) == 0;
    }
    static bool open(const QString& path) { return chmod(QFile::encodeName(path).constData(), S_IRWXU) == 0; }

  private:
    bool m_isWhole = true;
    QStringList m_closed;
};

}  // namespace lumbro::test
