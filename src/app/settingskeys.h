#pragma once

#include <QSettings>
#include <QString>
#include <QVariant>

namespace SettingsKeys {
inline QString language()
{
    return QStringLiteral("ui/language");
}
inline QString lastDeviceId()
{
    return QStringLiteral("device/lastId");
}
inline QString mirrored()
{
    return QStringLiteral("preview/mirrored");
}
inline QString flippedVertically()
{
    return QStringLiteral("preview/flippedVertically");
}
inline QString rotation()
{
    return QStringLiteral("preview/rotation");
}
inline QString lastControlTab()
{
    return QStringLiteral("ui/lastControlTab");
}
} // namespace SettingsKeys

// A stored flag: a bool, "true"/"false" in any case, or an integer (a DWORD 1 in the Windows
// registry, "1" in an INI file), non-zero meaning true. Any other text reads as false.
inline bool readFlag(const QSettings &settings, const QString &key, bool defaultValue = false)
{
    const QVariant value = settings.value(key);
    if (!value.isValid())
        return defaultValue;
    if (value.typeId() == QMetaType::Bool)
        return value.toBool();
    const QString text = value.toString().trimmed();
    if (text.compare(QLatin1String("true"), Qt::CaseInsensitive) == 0)
        return true;
    bool isNumber = false;
    const qlonglong number = text.toLongLong(&isNumber);
    return isNumber && number != 0;
}
