#include "LumbroSpeech/FallbackRecognizer.h"

#include "LumbroCore/AppLog.h"
#include "LumbroCore/Literals.h"

#include <utility>

namespace lumbro::speech {

struct FallbackRecognizer::Choice {
    std::shared_ptr<Recognizer> current;
    std::function<std::shared_ptr<Recognizer>()> makeSecond;

    /// The second recogniser, none when there is none or it is the one that has just failed.
    std::shared_ptr<Recognizer> next(const std::shared_ptr<Recognizer>& failed, const QString& reason) {
        if (failed == current && makeSecond) {
            AppLog::error(u"speech"_s, u"using the embedded recogniser: %1"_s.arg(reason));
            current = std::exchange(makeSecond, nullptr)();
        }
        return failed == current ? nullptr : current;
    }
};

FallbackRecognizer::FallbackRecognizer(std::shared_ptr<Recognizer> first,
                                       std::function<std::shared_ptr<Recognizer>()> makeSecond)
    : m_choice(std::make_shared<Choice>(std::move(first), std::move(makeSecond))) {}

Task<Result<OpenedStream>> FallbackRecognizer::open(RecognitionEvents events) {
    const auto choice = m_choice;
    const auto first = choice->current;
    auto opened = co_await first->open(events);
    if (opened) {
        co_return opened;
    }
    const auto second = choice->next(first, opened.error().message);
    if (!second) {
        co_return opened;
    }
    co_return co_await second->open(std::move(events));
}

Task<Result<>> FallbackRecognizer::warm(int streams) {
    const auto choice = m_choice;
    const auto first = choice->current;
    auto warmed = co_await first->warm(streams);
    if (warmed) {
        co_return warmed;
    }
    const auto second = choice->next(first, warmed.error().message);
    if (!second) {
        co_return warmed;
    }
    co_return co_await second->warm(streams);
}

void FallbackRecognizer::readAhead() {
    m_choice->current->readAhead();
}

}  // namespace lumbro::speech
