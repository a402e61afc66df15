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

// A stored flag that is neither a bool nor "true"/"false" reads as the default.
inline bool readFlag(const QSettings &settings, const QString &key, bool defaultValue = false)
{
    const QVariant value = settings.value(key, defaultValue);
    if (value.typeId() == QMetaType::Bool)
        return value.toBool();
    const QString text = value.toString();
    if (text.compare(QLatin1String("true"), Qt::CaseInsensitive) == 0)
        return true;
    if (text.compare(QLatin1String("false"), Qt::CaseInsensitive) == 0)
        return false;
    return defaultValue;
}
