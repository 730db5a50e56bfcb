#pragma once

#include "shell/Form1.h"
#include "tests/fakes/Fakes.h"

#include <QDir>
#include <memory>

// A main window built on fakes, with a handle on each fake and one log of every call.
struct Form1Fixture {
    CallLog log;
    FakeSkin* skin = nullptr;
    FakeMessageBox* messageBox = nullptr;
    FakeSettingsStore* settings = nullptr;
    FakeCommonDialog* comd = nullptr;
    FakeCommonDialog* commonDialog = nullptr;
    FakeMEnc* mEnc = nullptr;
    FakeMDec* mDec = nullptr;
    FakeWAEnc* waEnc = nullptr;
    FakeWaDec* waDec = nullptr;
    FakeWMAFile* wmaFile1 = nullptr;
    FakeHarnMediaUtils* x = nullptr;
    // Made by the window during start-up.
    FakeFolderBrowse* folderBrowser = nullptr;
    FakeFilgraphManager* filterGraph = nullptr;
    // What the folder picker answers, in order, once it exists.
    QStringList folderAnswers;
    std::unique_ptr<Form1> form;

    explicit Form1Fixture(const QString& applicationFolder = QStringLiteral("/opt/melvane")) {
        Form1Components c;
        c.skin = own(skin);
        c.messageBox = own(messageBox);
        c.settings = own(settings);
        c.comd = own(comd);
        c.commonDialog = own(commonDialog);
        c.mEnc = own(mEnc);
        c.mDec = own(mDec);
        c.waEnc = own(waEnc);
        c.waDec = own(waDec);
        c.wmaFile1 = own(wmaFile1);
        c.x = own(x);
        c.makeFolderBrowser = [this] {
            log.calls << QStringLiteral("new FolderBrowse");
            auto made = std::make_unique<FakeFolderBrowse>(&log);
            made->answers = folderAnswers;
            folderBrowser = made.get();
            return made;
        };
        c.makeFilterGraph = [this] {
            log.calls << QStringLiteral("new FilgraphManager");
            auto made = std::make_unique<FakeFilgraphManager>(&log);
            filterGraph = made.get();
            return made;
        };
        c.applicationFolder = applicationFolder;
        form = std::make_unique<Form1>(std::move(c));
    }

    // Start-up as the program does it, with the window on screen.
    void load() {
        form->Form_Load();
        form->show();
    }

    // Gives the folder picker more answers after start-up.
    void answerFolders(const QStringList& answers) { folderBrowser->answers += answers; }

private:
    template <class Fake> std::unique_ptr<Fake> own(Fake*& handle) {
        auto made = std::make_unique<Fake>(&log);
        handle = made.get();
        return made;
    }
};
