// The settings file: any bytes give values of the right types, and a change can still be stored.
#include "LumbroCore/Settings.h"

#include "Check.h"

#include <QMetaType>

using namespace lumbro;

namespace {

void checkType(const SettingKey& key, const QVariant& value) {
    switch (key.type) {
        case SettingKey::Type::boolean:
            fuzz::check(value.typeId() == QMetaType::Bool);
            break;
        case SettingKey::Type::integer:
            fuzz::check(value.canConvert<int>());
            break;
        case SettingKey::Type::string:
            fuzz::check(value.typeId() == QMetaType::QString);
            break;
        case SettingKey::Type::date:
            fuzz::check(value.canConvert<QDateTime>());
            break;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const fuzz::File file(data, size, QStringLiteral("ini"));
    Settings settings(file.path());
    for (const SettingKey& key : Settings::keys()) {
        const QVariant value = settings.value(key.name);
        if (value.isValid()) {
            checkType(key, value);
        }
    }
    const bool old = settings.boolean(QStringLiteral("offerCallCapture"));
    settings.set(QStringLiteral("offerCallCapture"), !old);
    fuzz::check(settings.boolean(QStringLiteral("offerCallCapture")) != old);
    QFile::remove(file.path() + QStringLiteral(".broken"));
    return 0;
}
