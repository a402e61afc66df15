#include "testenvironment.h"

#include <QCoreApplication>
#include <QDir>
#include <QSettings>

TestEnvironment::TestEnvironment()
    : homeDir(QDir::tempPath() + QStringLiteral("/tarvelo-test-XXXXXX"))
{
    const QString root = homeDir.path();
    const auto setFolder = [&root](const char *name, const QString &relative) {
        const QString path = root + relative;
        QDir().mkpath(path);
        qputenv(name, QFile::encodeName(path));
    };
    setFolder("HOME", QString());
    setFolder("XDG_CONFIG_HOME", QStringLiteral("/.config"));
    setFolder("XDG_DATA_HOME", QStringLiteral("/.local/share"));
    setFolder("XDG_CACHE_HOME", QStringLiteral("/.cache"));
    setFolder("XDG_RUNTIME_DIR", QStringLiteral("/runtime"));
    QFile::setPermissions(root + QStringLiteral("/runtime"),
                          QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("QT_MEDIA_BACKEND", "gstreamer");
    // No sound server here; keeps the multimedia back end from trying one.
    qputenv("PULSE_SERVER", "unix:/nonexistent");
}

void TestEnvironment::setApplicationIdentity()
{
    QCoreApplication::setApplicationName(QStringLiteral("Tarvelo"));
    QCoreApplication::setOrganizationName(QStringLiteral("Mossgrove"));
    QCoreApplication::setApplicationVersion(QStringLiteral("0.9.4"));
}

void TestEnvironment::clearSettings()
{
    QSettings settings;
    settings.clear();
    settings.sync();
}
