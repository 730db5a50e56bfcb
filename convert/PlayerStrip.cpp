#include "convert/PlayerStrip.h"

#include "components/Error.h"
#include "components/FilgraphManager.h"
#include "convert/EqualizerWindow.h"
#include "core/CommonHelpers.h"
#include "panelkit/ErrorBoundary.h"
#include "ui_PlayerStrip.h"

#include <QFileInfo>
#include <QHideEvent>
#include <QScreen>
#include <QStyle>
#include <QTimer>
#include <algorithm>

using ErrorBoundary::guarded;
using ErrorBoundary::handler;

namespace {

// The slider counts tenths of a second.
constexpr double kSteps = 10;
// A click beside the handle moves by this part of the file.
constexpr int kPagesPerFile = 10;
// Room between the strip and the equaliser window.
constexpr int kEqualizerGap = 8;

QString clock(double seconds) {
    return ConvertSeconds(float(std::max(seconds, 0.0)), true, true, true);
}

} // namespace

PlayerStrip::PlayerStrip(QWidget* parent)
    : QFrame(parent), m_ui(std::make_unique<Ui::PlayerStrip>()), m_timer(new QTimer(this)) {
    m_ui->setupUi(this);
    m_timer->setInterval(RefreshInterval);
    connect(m_timer, &QTimer::timeout, this, &PlayerStrip::refresh);
    connect(m_ui->playButton, &QPushButton::clicked, this,
            handler(this, &PlayerStrip::playButton_Click));
    connect(m_ui->stopButton, &QPushButton::clicked, this,
            handler(this, &PlayerStrip::stopButton_Click));
    connect(m_ui->equalizerButton, &QPushButton::clicked, this,
            handler(this, &PlayerStrip::equalizerButton_Click));
    // Dragging shows where the file would play from; letting go moves there. A click beside
    // the handle moves at once.
    connect(m_ui->positionSlider, &QSlider::sliderMoved, this,
            [this](int value) { showTime(value / kSteps); });
    connect(m_ui->positionSlider, &QSlider::sliderReleased, this,
            handler(this, &PlayerStrip::seekToSlider));
    connect(m_ui->positionSlider, &QSlider::actionTriggered, this, [this](int action) {
        if (action != QAbstractSlider::SliderMove)
            QTimer::singleShot(0, this, handler(this, &PlayerStrip::seekToSlider));
    });
    refresh();
}

PlayerStrip::~PlayerStrip() = default;

EqualizerWindow* PlayerStrip::equalizerWindow() const {
    return m_equalizer.data();
}

void PlayerStrip::setFilterGraph(FilgraphManager* graph) {
    if (m_graph)
        disconnect(m_graph, nullptr, this, nullptr);
    m_graph = graph;
    m_path.clear();
    delete m_equalizer.data();
    if (m_graph) {
        // Errors after playing started come here: reported, and the strip shows it stopped.
        connect(m_graph, &FilgraphManager::Failed, this, [this](const QString& message) {
            refresh();
            ErrorBoundary::report(message);
        });
        connect(m_graph, &FilgraphManager::Complete, this, &PlayerStrip::refresh);
    }
    refresh();
}

void PlayerStrip::play(const QString& path) {
    if (!m_graph)
        throw Error(QStringLiteral("Cannot play %1: the player is not ready.").arg(path));
    m_path.clear();
    refresh();
    m_graph->RenderFile(path);
    m_path = path;
    m_graph->Run();
    refresh();
}

void PlayerStrip::playButton_Click() {
    if (!m_graph)
        return;
    if (m_path.isEmpty()) {
        Q_EMIT fileWanted();
        return;
    }
    if (m_graph->GetState() == FilgraphManager::State::Running)
        m_graph->Pause();
    else
        m_graph->Run();
    refresh();
}

void PlayerStrip::stopButton_Click() {
    if (m_graph)
        m_graph->Stop();
    refresh();
}

void PlayerStrip::equalizerButton_Click() {
    if (!m_graph)
        return;
    if (!m_equalizer)
        m_equalizer = new EqualizerWindow(*m_graph, this);
    if (!m_equalizer->isVisible())
        placeEqualizer();
    m_equalizer->show();
    m_equalizer->raise();
    m_equalizer->activateWindow();
}

// Above the strip, its right edge under the Equalizer button's, so the player's own buttons
// stay in view; below the strip when the screen has no room above.
void PlayerStrip::placeEqualizer() {
    if (!m_equalizer->testAttribute(Qt::WA_Resized))
        m_equalizer->adjustSize();
    QSize frame = m_equalizer->frameGeometry().size();
    if (frame == m_equalizer->size()) {
        // Never shown: the window manager's frame is not known yet, so allow for a title bar.
        const int border = m_equalizer->style()->pixelMetric(QStyle::PM_MdiSubWindowFrameWidth);
        frame += QSize(2 * border,
                       m_equalizer->style()->pixelMetric(QStyle::PM_TitleBarHeight) + 2 * border);
    }
    const QRect strip(mapToGlobal(QPoint(0, 0)), size());
    const QScreen* screen = this->screen();
    const QRect area = screen ? screen->availableGeometry() : QRect();
    int x = strip.right() + 1 - frame.width();
    int y = strip.top() - kEqualizerGap - frame.height();
    if (area.isValid()) {
        if (y < area.top())
            y = strip.bottom() + 1 + kEqualizerGap;
        x = std::clamp(x, area.left(), std::max(area.left(), area.right() + 1 - frame.width()));
        y = std::clamp(y, area.top(), std::max(area.top(), area.bottom() + 1 - frame.height()));
    }
    m_equalizer->move(x, y);
}

void PlayerStrip::hideEvent(QHideEvent* event) {
    QFrame::hideEvent(event);
    // A minimised or closing window keeps the strip in place; only a panel put away (another
    // mode) leaves nothing on screen to stop the music with. Its equaliser goes with it.
    if (!m_graph || isVisibleTo(window()))
        return;
    if (m_equalizer)
        m_equalizer->hide();
    try {
        if (m_graph->GetState() == FilgraphManager::State::Running)
            m_graph->Stop();
    } catch (...) {
        ErrorBoundary::reportCurrentException();
    }
    refresh();
}

void PlayerStrip::seekToSlider() {
    if (m_graph && !m_path.isEmpty())
        m_graph->setCurrentPosition(m_ui->positionSlider->sliderPosition() / kSteps);
    refresh();
}

void PlayerStrip::showTime(double elapsed) {
    m_ui->elapsedLabel->setText(clock(elapsed));
}

void PlayerStrip::refresh() {
    const bool open = m_graph && !m_path.isEmpty();
    const bool running = open && m_graph->GetState() == FilgraphManager::State::Running;
    m_ui->playButton->setEnabled(m_graph);
    m_ui->playButton->setText(running ? QStringLiteral("Pause") : QStringLiteral("Play"));
    m_ui->stopButton->setEnabled(open);
    m_ui->equalizerButton->setEnabled(m_graph);
    m_ui->positionSlider->setEnabled(open);
    m_ui->nowPlaying->setText(open ? QFileInfo(m_path).fileName() : QStringLiteral("No file"));
    m_ui->nowPlaying->setToolTip(m_path);
    const double total = open ? m_graph->Duration() : 0;
    m_ui->totalLabel->setText(clock(total));
    if (!m_ui->positionSlider->isSliderDown()) {
        const double elapsed = open ? m_graph->CurrentPosition() : 0;
        m_ui->positionSlider->setRange(0, int(total * kSteps));
        m_ui->positionSlider->setPageStep(std::max(1, int(total * kSteps) / kPagesPerFile));
        m_ui->positionSlider->setValue(int(elapsed * kSteps));
        showTime(elapsed);
    }
    if (running)
        m_timer->start();
    else
        m_timer->stop();
}
