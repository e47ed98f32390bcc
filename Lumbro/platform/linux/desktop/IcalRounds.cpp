#include "platform/linux/desktop/IcalRounds.h"

#include "platform/linux/desktop/IcalBudget.h"

namespace lumbro {

namespace {

/// Gives the places of the files that want more than most do, of which nothing is taken yet.
std::vector<size_t> addUsual(const std::vector<const IcalFile*>& files, qint64 from, qint64 to,
                             std::vector<IcalOccurrence>& found) {
    IcalBudget budget = IcalBudget::forReading();
    std::vector<size_t> wanting;
    for (size_t i = 0; i < files.size(); ++i) {
        const size_t foundBefore = found.size();
        IcalBudget share = budget.firstShare();
        files[i]->addOccurrences(from, to, share, found);
        budget.settle(share, !share.isSpent());
        if (share.isSpent()) {
            found.resize(foundBefore);
            wanting.push_back(i);
        }
    }
    return wanting;
}

}  // namespace

std::vector<size_t> addOccurrences(const std::vector<const IcalFile*>& files, qint64 from, qint64 to,
                                   std::vector<IcalOccurrence>& found) {
    const std::vector<size_t> wanting = addUsual(files, from, to, found);
    IcalBudget budget = IcalBudget::forReading();
    std::vector<size_t> cut;
    for (size_t i = 0; i < wanting.size(); ++i) {
        IcalBudget share = budget.share(qsizetype(wanting.size() - i));
        files[wanting[i]]->addOccurrences(from, to, share, found);
        budget.settle(share, true);
        if (share.isSpent()) {
            cut.push_back(wanting[i]);
        }
    }
    return cut;
}

}  // namespace lumbro
