#include "recorder/FrmOptions.h"

#include "components/Checked.h"
#include "components/Error.h"
#include "components/Record.h"
#include "components/Skin.h"
#include "components/SoundCard.h"
#include "core/RecorderSettings.h"
#include "panelkit/ErrorBoundary.h"
#include "panelkit/MainWindow.h"
#include "ui_FrmOptions.h"

using ErrorBoundary::handler;

namespace {

// Adds an item without selecting it: a list filled by events starts with no selection, and
// only the presets choose an item.
void appendItem(QComboBox* list, const QString& text) {
    const int selected = list->currentIndex();
    list->addItem(text);
    list->setCurrentIndex(selected);
}

// Selects item index; raises IndexError for an item the list does not have (-1 selects none).
void selectItem(QComboBox* list, qsizetype index) {
    if (index < -1 || index >= list->count())
        throw IndexError(QStringLiteral("item %1 of the list %2, which has %3 items")
                             .arg(index)
                             .arg(list->objectName())
                             .arg(list->count()));
    list->setCurrentIndex(int(index));
}

} // namespace

FrmOptions::FrmOptions(OptionsContext context, QWidget* owner)
    : QDialog(owner), m_context(context), m_ui(std::make_unique<Ui::FrmOptions>()) {
    m_ui->setupUi(this);
    for (QComboBox* list :
         {m_ui->CmbSoundCards, m_ui->CmbLines, m_ui->CmbFormats, m_ui->CmbBitrates})
        list->setCurrentIndex(-1);
    m_ui->CmdEncoder->setEditText(QStringLiteral("lame_enc.dll"));
    m_context.skin.LoadSkin(m_context.main.skinPath());
    m_context.skin.ApplySkin(this);

    // The lists answer the user's choice only; presets select without running the handlers.
    connect(m_ui->CmbSoundCards, &QComboBox::activated, this,
            handler(this, &FrmOptions::CmbSoundCards_Click));
    connect(m_ui->CmbLines, &QComboBox::activated, this,
            handler(this, &FrmOptions::CmbLines_Click));
    connect(m_ui->OptionMP3, &QRadioButton::clicked, this,
            handler(this, &FrmOptions::OptionMP3_Click));
    connect(m_ui->OptionWAV, &QRadioButton::clicked, this,
            handler(this, &FrmOptions::OptionWAV_Click));
    connect(m_ui->CmdSave, &QPushButton::clicked, this, handler(this, &FrmOptions::CmdSave_Click));
    connect(m_ui->CmdCancel, &QPushButton::clicked, this,
            handler(this, &FrmOptions::CmdCancel_Click));
}

FrmOptions::~FrmOptions() = default;

void FrmOptions::addSoundCard(const QString& name) {
    appendItem(m_ui->CmbSoundCards, name);
}

void FrmOptions::addFormat(const QString& name) {
    appendItem(m_ui->CmbFormats, name);
}

void FrmOptions::addBitrate(const QString& text) {
    appendItem(m_ui->CmbBitrates, text.trimmed());
}

QString FrmOptions::deviceId(qsizetype k) const {
    if (k < 1 || k > m_context.DeviceIds.size())
        throw IndexError(QStringLiteral("device %1 of the %2 devices listed")
                             .arg(k)
                             .arg(m_context.DeviceIds.size()));
    return m_context.DeviceIds.at(k - 1);
}

void FrmOptions::clampFormat() {
    RecorderSettings& s = m_context.settings;
    const int n = m_ui->CmbFormats->count();
    if (n < 1)
        return;
    if (s.PCMFormat >= n)
        s.PCMFormat = n - 1;
    selectItem(m_ui->CmbFormats, s.PCMFormat);
}

void FrmOptions::ApplySettings() {
    RecorderSettings& s = m_context.settings;
    for (int i = 0; i < m_ui->CmbBitrates->count(); ++i)
        if (leadingNumber(m_ui->CmbBitrates->itemText(i)) == s.MP3Bitrate)
            m_ui->CmbBitrates->setCurrentIndex(i);
    m_ui->CmdEncoder->setEditText(s.EncoderDLL);
    if (m_ui->CmbSoundCards->count() > 0)
        for (qsizetype k = 1; k <= m_context.DeviceIds.size(); ++k)
            if (m_context.DeviceIds.at(k - 1) == s.SelectedDevice)
                selectItem(m_ui->CmbSoundCards, k - 1);
    clampFormat();
    if (s.OutputFormat == 1)
        m_ui->OptionMP3->setChecked(true);
    else
        m_ui->OptionWAV->setChecked(true);
    CmbSoundCards_Click();
}

void FrmOptions::CmbSoundCards_Click() {
    const QString id = deviceId(m_ui->CmbSoundCards->currentIndex() + 1);
    m_ui->CmbFormats->clear();
    m_context.record.ListFormats(id);
    clampFormat();

    QString name = m_ui->CmbSoundCards->currentText();
    if (name.isEmpty()) {
        // The item after the default device's: the list counts from 0 and the ids from 1, and
        // users' setups have always been matched this way.
        const QString defaultId = m_context.record.DefaultDevice();
        const qsizetype k = m_context.DeviceIds.indexOf(defaultId) + 1;
        if (k > 0)
            name = m_ui->CmbSoundCards->itemText(int(k));
    }

    m_ui->CmbLines->clear();
    SoundCard& card = m_context.soundCard;
    qint32 mixerId = 0;
    if (card.FindMixer(name, mixerId) > -1) {
        card.setMixerId(mixerId);
        card.setOpenMixer(true);
        const qint32 last = card.LineCount();
        for (qint32 i = 0; i <= last; ++i) {
            card.setLineIndex(i);
            appendItem(m_ui->CmbLines, card.LineName());
        }
    }
    // A line the mixer does not have (a sound server's mixer has one capture line, the stored
    // choice may be the second) leaves the list without a selection rather than failing.
    const qint32 line = m_context.settings.SelectedLine;
    m_ui->CmbLines->setCurrentIndex(line < m_ui->CmbLines->count() ? line : -1);
}

void FrmOptions::CmbLines_Click() {
    RecorderSettings& s = m_context.settings;
    s.SelectedLine = m_ui->CmbLines->currentIndex();
    m_context.soundCard.setLineIndex(s.SelectedLine);
    m_context.soundCard.setLineSelected(true);
}

void FrmOptions::OptionMP3_Click() {
    const bool mp3 = m_ui->OptionMP3->isChecked();
    m_ui->CmbFormats->setEnabled(!mp3);
    // Either choice locks the encoder; it can only be changed before the first format click.
    m_ui->CmdEncoder->setEnabled(false);
    m_ui->CmbBitrates->setEnabled(mp3);
}

void FrmOptions::OptionWAV_Click() {
    OptionMP3_Click();
}

void FrmOptions::CmdSave_Click() {
    RecorderSettings& s = m_context.settings;
    s.SelectedDevice = deviceId(m_ui->CmbSoundCards->currentIndex() + 1);
    s.OutputFormat = m_ui->OptionMP3->isChecked() ? 1 : 0;
    s.EncoderDLL = m_ui->CmdEncoder->currentText();
    s.MP3Bitrate = checked::roundEven32(leadingNumber(m_ui->CmbBitrates->currentText()));
    s.PCMFormat = m_ui->CmbFormats->currentIndex();
    s.SelectedLine = m_ui->CmbLines->currentIndex();
    accept();
}

void FrmOptions::CmdCancel_Click() {
    reject();
}
