#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <optional>
#include <vector>

namespace lumbro::bench {

/// How a program ran.
struct Run {
    double milliseconds = 0;
    /// The most memory it had, in MB.
    double peak = 0;
    QByteArray output;
};

/// Runs a program to its end; nothing when it could not start or ended with another status than 0 or 1 (which
/// searching programs give for no match).
std::optional<Run> measured(const QString& program, const QStringList& arguments);
/// The same for this program itself.
std::optional<Run> measuredSelf(const QStringList& arguments);

/// The value below which this part of the values lies.
double percentile(std::vector<double> values, double part);
/// Memory of this process in MB, now.
double resident();

/// One row of the table. Without a limit it is for information.
void printRow(const QString& name, double value, const QString& unit, std::optional<double> limit,
              const QString& note = {});

}  // namespace lumbro::bench
