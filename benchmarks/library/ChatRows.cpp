#include "benchmarks/library/ChatRows.h"

#include "LumbroCore/Literals.h"
#include "benchmarks/library/Measured.h"
#include "chats/ClaudeChatReader.h"

#include <QDirIterator>

#include <cstdio>

namespace lumbro::bench {

int chatChild(const QString& folder) {
    std::printf("%lld\n",
                static_cast<long long>(ClaudeChatReader::read({}, {}, u"/nowhere"_s, folder).size()));
    return 0;
}

bool chatRows(const QString& folder) {
    QStringList files;
    qint64 bytes = 0;
    QDirIterator it(folder, {u"*.jsonl"_s}, QDir::Files, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        files += it.next();
        bytes += it.fileInfo().size();
    }
    std::vector<double> own;
    std::vector<double> peak;
    std::vector<double> yardstick;
    qint64 requests = 0;
    // The first round is only for the kernel, which then has the files.
    for (int round = 0; round < 4; ++round) {
        const auto rg = measured(u"rg"_s, QStringList{u"-c"_s, u"-F"_s, u"\"type\":\"user\""_s} + files);
        const auto reader = measuredSelf({u"chats"_s, folder});
        if (!rg || !reader) {
            return false;
        }
        requests = reader->output.trimmed().toLongLong();
        if (round > 0) {
            yardstick.push_back(rg->milliseconds);
            own.push_back(reader->milliseconds);
            peak.push_back(reader->peak);
        }
    }
    const double rg = percentile(yardstick, 0.5);
    const QString note = u"%1 MB in %2 files, %3 requests; rg %4 ms"_s.arg(bytes >> 20)
                             .arg(files.size())
                             .arg(requests)
                             .arg(qRound(rg));
    printRow(u"reading chats, against rg -c of one word"_s, percentile(own, 0.5) / rg, u"times"_s, 1.5, note);
    printRow(u"reading chats, peak memory"_s, percentile(peak, 0.5), u"MB"_s, 60, note);
    return requests > 0;
}

}  // namespace lumbro::bench
