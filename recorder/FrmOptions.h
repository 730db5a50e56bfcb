#pragma once

#include <QDialog>
#include <QStringList>
#include <memory>

namespace Ui {
class FrmOptions;
}
class MainWindow;
class Record;
class Skin;
class SoundCard;
struct RecorderSettings;

// What the options dialog works with: the recorder (formats of a device, the default device),
// the sound card's mixer, the settings it presets from and saves to, and the device ids of its
// sound card list, which the recorder window fills with it.
struct OptionsContext {
    Skin& skin;
    MainWindow& main;
    Record& record;
    SoundCard& soundCard;
    RecorderSettings& settings;
    // One id per CmbSoundCards item, in the same order; entry k (from 1) is item k - 1.
    QStringList& DeviceIds;
};

// The recorder's options: device, input line, output format, PCM format, bit rate, encoder.
// Save changes the settings in memory only; a chosen input line is applied to the mixer at
// once and stays applied after Cancel.
class FrmOptions final : public QDialog {
    Q_OBJECT
public:
    // Loads and applies the skin; raises when it cannot be loaded.
    FrmOptions(OptionsContext context, QWidget* owner);
    ~FrmOptions() override;

    // The recorder's listing events, as the recorder window hands them on.
    void addSoundCard(const QString& name);
    void addFormat(const QString& name);
    void addBitrate(const QString& text);

    // Presets the controls from the settings and fits the formats and lines to the device.
    void ApplySettings();

    void CmbSoundCards_Click();
    void CmbLines_Click();
    void OptionMP3_Click();
    void OptionWAV_Click();
    void CmdSave_Click();
    void CmdCancel_Click();

private:
    // Entry k of DeviceIds, counted from 1; raises IndexError outside the list.
    QString deviceId(qsizetype k) const;
    // Keeps PCMFormat within the formats listed and selects it.
    void clampFormat();

    OptionsContext m_context;
    std::unique_ptr<Ui::FrmOptions> m_ui;
};
