#include "cli/services/SpeechSetting.h"

#include "LumbroSpeech/SpeechModels.h"
#include "app/Services.h"
#include "cli/SettingsCommands.h"
#include "recording/transcription/SpeechAssets.h"

#include <algorithm>

namespace lumbro::cli {

Task<int> setSpeechSetting(CommandContext context) {
    const QString id = context.arguments.at(1);
    if (context.arguments.at(0) == u"speechModel" && !id.isEmpty()) {
        Services services;
        const auto isIt = [&id](const speech::SpeechModelStatus& status) { return status.model.id == id; };
        if (std::ranges::none_of(services.speechAssets().models().list(), isIt)) {
            co_return context.output.fail(
                u"speechModel takes the id of a model that `lumbro speech list` names, not \"%1\"."_s.arg(
                    id));
        }
    }
    co_return co_await settingsSet(context);
}

}  // namespace lumbro::cli
