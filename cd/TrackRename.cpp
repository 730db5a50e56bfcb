#include "cd/TrackRename.h"

#include "cd/FrameCDMode.h"
#include "components/Skin.h"
#include "controls/ReportList.h"
#include "panelkit/ErrorBoundary.h"
#include "panelkit/MainWindow.h"
#include "panelkit/SharedState.h"
#include "ui_TrackRename.h"

#include <QCloseEvent>

using ErrorBoundary::handler;

TrackRename::TrackRename(TrackRenameContext context, QWidget* owner)
    : QDialog(owner), m_context(context), m_ui(std::make_unique<Ui::TrackRename>()) {
    m_ui->setupUi(this);
    ReportList& list = *m_ui->lvwSongList;
    list.setColumnHeaders({QStringLiteral("Track Name")});
    list.setSelectionMode(QAbstractItemView::SingleSelection);
    // A slow double-click is a click on the selected row; a quick one and F2 edit too.
    list.setEditTriggers(QAbstractItemView::DoubleClicked | QAbstractItemView::SelectedClicked |
                         QAbstractItemView::EditKeyPressed);
    connect(m_ui->Command1, &QPushButton::clicked, this,
            handler(this, &TrackRename::Command1_Click));
    Form_Load();
}

TrackRename::~TrackRename() = default;

ReportList& TrackRename::songList() const {
    return *m_ui->lvwSongList;
}

void TrackRename::Form_Load() {
    Skin& skin = m_context.skin;
    skin.LoadSkin(m_context.main.skinPath());
    skin.ApplySkin(this);
    for (QWidget* box : {static_cast<QWidget*>(m_ui->Text1), static_cast<QWidget*>(m_ui->Text2),
                         static_cast<QWidget*>(m_ui->lvwSongList)}) {
        QPalette palette = box->palette();
        palette.setColor(QPalette::Base, skin.BackColor());
        box->setPalette(palette);
    }
    ReportList& names = *m_ui->lvwSongList;
    ReportList& tracks = m_context.ListView1;
    names.Clear();
    for (qint32 n = 1; n <= tracks.Count(); ++n) {
        tracks.clearSelection();
        tracks.setSelected(n, true);
        const qint32 row = names.Add(tracks.SubItem(n, 1));
        QTreeWidgetItem* item = names.topLevelItem(row - 1);
        item->setFlags(item->flags() | Qt::ItemIsEditable);
        names.clearSelection();
        names.setSelected(row, true);
    }
}

void TrackRename::Command1_Click() {
    m_context.state.renamedTracks = True16;
    // Asked for, and kept nowhere: no file or list carries them.
    const QString artist = m_ui->Text1->text();
    const QString album = m_ui->Text2->text();
    Q_UNUSED(artist);
    Q_UNUSED(album);
    m_context.panel.updatecd();
    m_context.panel.unloadTrackRename();
}

void TrackRename::Form_Unload() {
    m_context.state.renamedTracks = False16;
}

void TrackRename::reject() {
    close();
}

void TrackRename::closeEvent(QCloseEvent* event) {
    event->accept();
    m_context.panel.unloadTrackRename();
}
