#pragma once

#include "core/ProcessEnd.h"

#include <QTest>

// The main() of a test program that plays or records through Qt Multimedia: as QTEST_MAIN,
// then an exit past the audio engine's racy clean-up (see ProcessEnd.h), so a run that passed
// cannot abort on its way out. Without the test audio server it fails at once.
#define MELVANE_AUDIO_TEST_MAIN(TestClass, Application)                                            \
    int main(int argc, char** argv) {                                                              \
        if (!qEnvironmentVariableIsSet("PULSE_SERVER"))                                            \
            qFatal("run through ctest or scripts/test, which start the test audio server");        \
        int code = 0;                                                                              \
        {                                                                                          \
            Application app(argc, argv);                                                           \
            TestClass test;                                                                        \
            code = QTest::qExec(&test, argc, argv);                                                \
        }                                                                                          \
        endProcess(code);                                                                          \
    }
