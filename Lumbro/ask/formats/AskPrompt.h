#pragma once

#include "library/formats/CaptureMeta.h"
#include "memory/formats/Company.h"
#include "memory/formats/PromiseItem.h"

#include <QList>
#include <QString>

/// The fixed words of a question to the model, and the sections on what it is about.
namespace lumbro::askPrompt {

/// The system prompt.
QString systemPrompt();
/// The one line on the agent's command line.
QString instruction();
/// How the text for an application is to be written. `app` is its word in any case.
QString formatFor(const QString& app);

QString captureBlock(const CaptureRecord& record);
/// `promises` are those with the person; the ones that are done are left out.
QString personBlock(const QString& slug, const QString& name, const QList<PromiseItem>& promises);
QString companyBlock(const Company& company);
QString projectBlock(const QString& slug, const QString& name);
/// For a domain of which nothing is known.
QString unknownCompanyBlock(const QString& domain);

}  // namespace lumbro::askPrompt
