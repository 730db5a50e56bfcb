#pragma once

// The recorder window, loaded and shown, on fakes, with its options dialog.
#include "panelkit/SharedState.h"
#include "recorder/FrmMainA.h"
#include "recorder/FrmOptions.h"
#include "tests/fakes/Fakes.h"
#include "tests/qt/ModalHelper.h"

#include <QAction>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QTest>
#include <QTimer>

inline const QString kDefaultPath = QStringLiteral("/home/user/Music/Recordings/capture.mp3");
inline const QString kQuestion =
    QStringLiteral("This will delete the current recording! Are you sure you want to proceed?");

inline QStringList items(const QComboBox* list) {
    QStringList texts;
    for (int i = 0; i < list->count(); ++i)
        texts << list->itemText(i);
    return texts;
}

// The recorder window, loaded and shown, on fakes; the error boundary reports to `errors`.
struct RecorderFixture {
    CallLog log;
    FakeRecord record{&log};
    FakePlayer player{&log};
    FakeSoundCard soundCard{&log};
    FakeCommonDialog saveDialog{&log};
    FakeMessageBox messageBox{&log};
    FakeMessageBox errors;
    ReportErrorsOn reporting{&errors};
    FakeSettingsStore store;
    FakeSkin skin{&log};
    FakeMainWindow main;
    SharedState state;
    FrmMainA window{{record, player, soundCard, saveDialog, messageBox, store, skin, main, state}};

    RecorderFixture() {
        // A device list, the default first, as the real recorder reports it.
        record.devices = {{"Default", ""}, {"Line In", "hw:0"}, {"USB Mic", "hw:1"}};
        record.defaultDevice = QStringLiteral("hw:0");
        for (const QString& id : {QString(), QStringLiteral("hw:0"), QStringLiteral("hw:1")})
            record.formats.insert(id, formatNames(20));
        record.formats.insert(QStringLiteral("hw:1"), formatNames(10));
        record.bitrates = {"32", " 64 ", "128", "192", "320"};
        soundCard.mixers.insert(QStringLiteral("Default"), {7, {"Capture"}});
        soundCard.mixers.insert(QStringLiteral("Line In"), {0, {"Mic", "Line", "CD"}});
        window.open();
    }

    static QStringList formatNames(int n) {
        QStringList names;
        for (int i = 0; i < n; ++i)
            names << QStringLiteral("format %1").arg(i);
        return names;
    }

    template <class T> T* child(const QString& name) const { return window.findChild<T*>(name); }
    QString time() const { return child<QLabel>("SkinLabelTime")->text(); }
    QString txtFile() const { return child<QLineEdit>("TxtFile")->text(); }
    bool optionsEnabled() const { return child<QAction>("mnuOptions")->isEnabled(); }
    bool pausedShown() const { return child<QLabel>("LabelPaused")->isVisible(); }
    QTimer* timer() const { return child<QTimer>(QStringLiteral("TimerProgress")); }
    bool timerOn() const { return timer()->isActive(); }
    void tick() { window.TimerProgress_Timer(); }
    void click(const char* name) { child<QPushButton>(QLatin1String(name))->click(); }

    // What the window told the recorder and the player since the last time, then forgets it;
    // reads of their state are left out.
    QStringList take() {
        static const QStringList reads = {"Record.IsRecording()",  "Record.IsPaused()",
                                          "Record.RecordedTime()", "Record.FileName()",
                                          "Player.PlayerState()",  "Player.Position()"};
        QStringList calls;
        for (const QString& call : std::as_const(log.calls))
            if ((call.startsWith(QLatin1String("Record.")) ||
                 call.startsWith(QLatin1String("Player."))) &&
                !reads.contains(call))
                calls << call;
        log.clear();
        return calls;
    }

    // Settings as an earlier session stored them, read by loading the window afresh.
    void reload(const QMap<QString, QString>& stored) {
        for (auto it = stored.cbegin(); it != stored.cend(); ++it)
            store.settings.insert(QStringLiteral("QuillRecorder/Settings/") + it.key(), it.value());
        window.close();
        window.open();
    }

    // Opens the options dialog and hands it to `answer` while it is shown; false when it did
    // not open.
    bool options(const std::function<void(FrmOptions*)>& answer) {
        return answerModal<FrmOptions>([this] { window.mnuOptions_Click(); }, answer);
    }
};

template <class T> T* in(QWidget* dialog, const char* name) {
    return dialog->findChild<T*>(QLatin1String(name));
}
