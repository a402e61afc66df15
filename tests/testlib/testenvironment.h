#pragma once

#include <QCoreApplication>
#include <QDir>
#include <QLibraryInfo>
#include <QSettings>
#include <QTemporaryDir>

#include <utility>

// Gives a test process its own home: HOME and the XDG folders point into a temporary directory,
// so the real settings store is used but nothing of the user's is read or written.
class TestEnvironment
{
public:
    TestEnvironment()
    {
        const std::pair<const char *, const char *> folders[] = {{"HOME", ""},
                                                                 {"XDG_CONFIG_HOME", "/.config"},
                                                                 {"XDG_DATA_HOME", "/.local/share"},
                                                                 {"XDG_CACHE_HOME", "/.cache"},
                                                                 {"XDG_RUNTIME_DIR", "/runtime"}};
        for (const auto &[name, relative] : folders) {
            const QString path = homeDir.path() + QLatin1String(relative);
            QDir().mkpath(path);
            qputenv(name, QFile::encodeName(path));
        }
        QFile::setPermissions(homeDir.path() + QStringLiteral("/runtime"),
                              QFileDevice::ReadOwner | QFileDevice::WriteOwner
                                  | QFileDevice::ExeOwner);
        if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
            qputenv("QT_QPA_PLATFORM", "offscreen");
        // Qt 6.4 ships an experimental FFmpeg back end beside GStreamer; the tests answer the
        // GStreamer one wherever it exists.
        if (hasGStreamerMediaBackend())
            qputenv("QT_MEDIA_BACKEND", "gstreamer");
        // No sound server here; keeps the multimedia back end from trying one.
        qputenv("PULSE_SERVER", "unix:/nonexistent");
    }

    // Debian 13's Qt 6.8 ships only the FFmpeg back end, which cannot see the virtual cameras.
    static bool hasGStreamerMediaBackend()
    {
        const QDir plugins(QLibraryInfo::path(QLibraryInfo::PluginsPath)
                           + QStringLiteral("/multimedia"));
        return !plugins.entryList({QStringLiteral("*gstreamer*")}, QDir::Files).isEmpty();
    }

    // For a test's main before the virtual cameras are installed; false: exit as skipped.
    static bool canServeVirtualCameras()
    {
        if (hasGStreamerMediaBackend())
            return true;
        qInfo("SKIP: Qt %s has no GStreamer media back end here, and the virtual cameras exist "
              "only in GStreamer; the vivid checks cover the other back ends.",
              qVersion());
        return false;
    }

    // Application identity as the program sets it; call after the QApplication exists.
    static void setApplicationIdentity()
    {
        QCoreApplication::setApplicationName(QStringLiteral("Tarvelo"));
        QCoreApplication::setOrganizationName(QStringLiteral("Mossgrove"));
        QCoreApplication::setApplicationVersion(QStringLiteral("0.9.4"));
    }

    static void clearSettings()
    {
        QSettings settings;
        settings.clear();
        settings.sync();
    }

private:
    QTemporaryDir homeDir {QDir::tempPath() + QStringLiteral("/tarvelo-test-XXXXXX")};
};
