#pragma once

#include <QCoreApplication>
#include <QDir>
#include <QLibraryInfo>
#include <QSettings>
#include <QTemporaryDir>

// Gives a test process its own home: HOME and the XDG folders point into a temporary directory,
// so the real settings store is used but nothing of the user's is read or written.
class TestEnvironment
{
public:
    TestEnvironment()
    {
        for (const auto &[name, relative] : {std::pair("HOME", ""),
                                             {"XDG_CONFIG_HOME", "/.config"},
                                             {"XDG_DATA_HOME", "/.local/share"},
                                             {"XDG_CACHE_HOME", "/.cache"},
                                             {"XDG_RUNTIME_DIR", "/runtime"}}) {
            QDir().mkpath(homeDir.path() + relative);
            qputenv(name, QFile::encodeName(homeDir.path() + relative));
        }
        QFile::setPermissions(homeDir.path() + "/runtime",
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
        const QDir plugins(QLibraryInfo::path(QLibraryInfo::PluginsPath) + "/multimedia");
        return !plugins.entryList({"*gstreamer*"}, QDir::Files).isEmpty();
    }

    // For a test's main before the virtual cameras are installed; false: exit as skipped.
    static bool canServeVirtualCameras()
    {
        if (!hasGStreamerMediaBackend())
            qInfo("SKIP: no GStreamer media back end in Qt %s for the virtual cameras", qVersion());
        return hasGStreamerMediaBackend();
    }

    // Application identity as the program sets it; call after the QApplication exists.
    static void setApplicationIdentity()
    {
        QCoreApplication::setApplicationName(QStringLiteral("Tarvelo"));
        QCoreApplication::setOrganizationName(QStringLiteral("Mossgrove"));
        QCoreApplication::setApplicationVersion(QStringLiteral("0.9.4"));
    }

    static void clearSettings() { QSettings().clear(); } // stored as the temporary goes

private:
    QTemporaryDir homeDir {QDir::tempPath() + QStringLiteral("/tarvelo-test-XXXXXX")};
};
