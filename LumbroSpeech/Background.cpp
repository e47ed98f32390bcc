#include "LumbroSpeech/Background.h"

#include <QCoroFuture>
#include <QPromise>
#include <QThreadPool>

#include <memory>
#include <utility>

namespace lumbro::speech {

Task<Result<QString>> inBackground(std::function<Result<QString>()> work) {
    const auto promise = std::make_shared<QPromise<Result<QString>>>();
    const auto future = promise->future();
    promise->start();
    QThreadPool::globalInstance()->start([promise, work = std::move(work)] {
        promise->addResult(work());
        promise->finish();
    });
    co_await future;
    co_return future.result();
}

}  // namespace lumbro::speech
