#pragma once

#include "session/processtuning.h"
#include "session/retiredsession.h"
#include "testenvironment.h"

#include <QApplication>
#include <QTest>

// Like QTEST_MAIN, but tuned as the program is, and the isolated environment (and anything
// `prepare` sets up, such as the virtual cameras) is in place before the application object exists.
#define TARVELO_TEST_MAIN_WITH(TestClass, prepare)                                                 \
    int main(int argc, char *argv[])                                                               \
    {                                                                                              \
        tuneProcessForCameras();                                                                   \
        TestEnvironment environment;                                                               \
        prepare;                                                                                   \
        QApplication application(argc, argv);                                                      \
        TestEnvironment::setApplicationIdentity();                                                 \
        const int result = [&] {                                                                   \
            TestClass test;                                                                        \
            return QTest::qExec(&test, argc, argv);                                                \
        }();                                                                                       \
        finishRetiredSessions();                                                                   \
        return result;                                                                             \
    }

#define TARVELO_TEST_MAIN(TestClass) TARVELO_TEST_MAIN_WITH(TestClass, (void)0)
