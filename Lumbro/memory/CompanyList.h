#pragma once

#include "LumbroCore/Settings.h"
#include "library/ContextLibrary.h"
#include "memory/formats/Company.h"
#include "memory/formats/MemoryEntity.h"

#include <QList>

#include <optional>

namespace lumbro {

/// The companies, built anew only when what they are made from has changed.
class CompanyList {
  public:
    CompanyList(const ContextLibrary& library, const Settings& settings);

    const QList<Company>& companies() const { return m_companies; }
    /// To be called when the library's captures have changed.
    void capturesChanged() { m_capturesStamp.reset(); }
    /// To be called when the people have changed.
    void peopleChanged() { m_peopleStamp.reset(); }
    /// True when the list is another one now.
    bool reload(const QList<MemoryEntity>& people);

  private:
    size_t capturesStamp() const;

    const ContextLibrary& m_library;
    const Settings& m_settings;
    QList<Company> m_companies;
    std::optional<size_t> m_capturesStamp;
    std::optional<size_t> m_peopleStamp;
    /// Of what the list was built from.
    std::optional<size_t> m_stamp;
};

}  // namespace lumbro
