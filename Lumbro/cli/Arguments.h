#pragma once

#include "LumbroCore/Failure.h"
#include "cli/CommandTable.h"

#include <QHash>
#include <QString>
#include <QStringList>

#include <optional>

namespace lumbro::cli {

/// What a command line said, checked against the command's table entry.
class Arguments {
  public:
    /// Reads the words after the command's name. Options may stand anywhere; after "--" all is positional.
    /// Fails with a sentence on an unknown option, a missing or wrong value and a wrong count of words.
    static Result<Arguments> parse(const CommandInfo& command, const QStringList& words);

    const QStringList& positionals() const { return m_positionals; }
    /// The word at `index`, empty when there are not so many.
    QString at(int index) const { return m_positionals.value(index); }
    bool has(std::string_view option) const;
    std::optional<QString> value(std::string_view option) const;
    std::optional<int> number(std::string_view option) const;
    bool wantsJson() const { return has("json"); }

  private:
    QStringList m_positionals;
    QHash<QString, QString> m_values;
};

}  // namespace lumbro::cli
