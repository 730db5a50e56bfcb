#include "convert/EqualizerWindow.h"

#include "components/FilgraphManager.h"
#include "panelkit/ErrorBoundary.h"
#include "ui_EqualizerWindow.h"

#include <QSignalBlocker>

using ErrorBoundary::guarded;
using ErrorBoundary::handler;

EqualizerWindow::EqualizerWindow(FilgraphManager& graph, QWidget* parent)
    : QWidget(parent, Qt::Window), m_graph(graph), m_ui(std::make_unique<Ui::EqualizerWindow>()) {
    m_ui->setupUi(this);
    setAttribute(Qt::WA_QuitOnClose, false);
    for (int band = 0; band < FilgraphManager::EqBandCount; ++band) {
        m_sliders[size_t(band)] = findChild<QSlider*>(QStringLiteral("band%1").arg(band));
        m_values[size_t(band)] = findChild<QLabel*>(QStringLiteral("gain%1").arg(band));
        connect(m_sliders[size_t(band)], &QSlider::valueChanged, this,
                guarded([this, band](int value) { bandMoved(band, value); }));
    }
    connect(m_ui->flatButton, &QPushButton::clicked, this,
            handler(this, &EqualizerWindow::flatButton_Click));
    connect(m_ui->closeButton, &QPushButton::clicked, this, &QWidget::close);
    connect(&m_graph, &FilgraphManager::EqualizerChanged, this, &EqualizerWindow::refresh);
    refresh();
}

EqualizerWindow::~EqualizerWindow() = default;

void EqualizerWindow::refresh() {
    EqualizerResponse::Gains gains{};
    for (int band = 0; band < FilgraphManager::EqBandCount; ++band) {
        gains[size_t(band)] = m_graph.BandGain(band);
        const QSignalBlocker quiet(m_sliders[size_t(band)]);
        m_sliders[size_t(band)]->setValue(qRound(gains[size_t(band)]));
        m_sliders[size_t(band)]->setEnabled(
            FilgraphManager::EqBandInUse(band, m_graph.SampleRate()));
        m_values[size_t(band)]->setText(QString::number(gains[size_t(band)]));
    }
    m_ui->responseCurve->setResponse(gains, m_graph.SampleRate());
}

void EqualizerWindow::bandMoved(int band, int value) {
    m_graph.setBandGain(band, value);
    // The graph says so and the window follows; a graph that did not take it shows why not.
    refresh();
}

void EqualizerWindow::flatButton_Click() {
    for (int band = 0; band < FilgraphManager::EqBandCount; ++band)
        if (m_graph.BandGain(band) != 0)
            m_graph.setBandGain(band, 0);
}
