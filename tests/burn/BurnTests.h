#pragma once

// The burning engine's tests, in two files: libburn's machinery (test_burn.cpp) and the image
// recorder (test_image_recorder.cpp).

#include "backends/burn/Burner.h"
#include "backends/burn/Libburn.h"
#include "backends/burn/LibburnRun.h"
#include "tests/burn/BurnTestSupport.h"

#include <QTemporaryDir>
#include <QTest>

// libburn's file pseudo-drive ("stdio:") runs the write machinery where no CD recorder
// exists; it takes one data track only, so those burns use MODE1 sectors.
class TestBurn : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void speeds_data();
    void speeds();
    void valueCodes();
    void scanListsTheImageRecorderLast();
    void cdTextOnlyWithTitles();
    void writeTypePerMethod_data();
    void writeTypePerMethod();
    void libburnRefuses();
    void stdioBurn_data();
    void stdioBurn();
    void placingTracks_data();
    void placingTracks();
    void theProgramAsTheWriterGetsIt_data();
    void theProgramAsTheWriterGetsIt();
    void failureWithoutMessages();
    void imageBurn();
    void imageBurnEndings_data();
    void imageBurnEndings();
    void startBurnRefuses_data();
    void startBurnRefuses();

private:
    std::unique_ptr<burning::LibburnRun> stdioRun(std::vector<burning::PlannedTrack> tracks,
                                                  burning::BurnSettings s = {});
    void useImageRecorder(burning::Burner& burner);

    std::unique_ptr<burning::LibburnLibrary> m_library;
    std::unique_ptr<QTemporaryDir> m_dir;
    test::ScriptedOpener m_opener;
    test::SaveFileOutput m_output;
};
