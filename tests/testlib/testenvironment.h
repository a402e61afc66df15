#pragma once

#include <QString>
#include <QTemporaryDir>

// Gives a test process its own home: HOME and the XDG folders point into a temporary directory,
// so the real settings store is used but nothing of the user's is read or written.
class TestEnvironment
{
public:
    TestEnvironment();

    // Application identity as the program sets it; call after the QApplication exists.
    static void setApplicationIdentity();
    static void clearSettings();

private:
    QTemporaryDir homeDir;
};
