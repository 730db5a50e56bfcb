#include "volume/VolumeControl.h"

VolumeControl::VolumeControl(QWidget* parent) : QWidget(parent) {
    setObjectName(QStringLiteral("VolumeControl1"));
}
