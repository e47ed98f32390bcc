#pragma once

#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

namespace lumbro {

/// What a model proposes to change in the memory after it has read a capture. Its texts stand as the model
/// wrote them, line ends and all.
struct LibrarianOps {
    /// A person or a project.
    struct Entity {
        /// The page that the model means; may name none.
        std::optional<QString> slug;
        QString name;
        std::optional<QString> company;
        std::optional<QString> role;
        std::optional<QString> status;
        /// Lasting facts.
        QStringList about;
        std::optional<QString> timeline;

        bool operator==(const Entity&) const = default;
    };
    struct Promise {
        QString owner;
        std::optional<QString> to;
        QString text;
        std::optional<QString> due;

        bool operator==(const Promise&) const = default;
    };
    struct Idea {
        QString hook;
        std::optional<QString> angle;

        bool operator==(const Idea&) const = default;
    };

    QList<Entity> people;
    QList<Entity> projects;
    QList<Promise> promises;
    /// Ids of open promises that are done now, for example "p-a1b2c3"; may name none.
    QStringList closedPromises;
    QList<Idea> ideas;

    bool operator==(const LibrarianOps&) const = default;

    /// Longer replies are no answer to the question and are not read.
    static constexpr qsizetype mostCharacters = 1'000'000;

    /// Reads the JSON object between the first "{" and the last "}" of a reply. Missing and null keys are
    /// empty, unknown ones are ignored. Nothing when there is no such object, or when any required key is
    /// missing or any known key has the wrong type: it is all or nothing.
    static std::optional<LibrarianOps> decode(const QString& text);
};

}  // namespace lumbro
