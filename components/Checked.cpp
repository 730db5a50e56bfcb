#include "components/Checked.h"

#include <cfenv>
#include <cmath>

namespace checked {

static qint32 toInt32(double value) {
    if (!std::isfinite(value))
        throw FloatError(QString::number(value));
    if (value < double(std::numeric_limits<qint32>::min()) ||
        value > double(std::numeric_limits<qint32>::max()))
        throw OverflowError(QStringLiteral("%1 does not fit in 32 bits").arg(value, 0, 'f', 0));
    return static_cast<qint32>(value);
}

qint32 floor32(double value) {
    return toInt32(std::floor(value));
}

// std::nearbyint follows the current rounding mode, which is to-nearest-even unless changed.
qint32 roundEven32(double value) {
    if (!std::isfinite(value))
        throw FloatError(QString::number(value));
    return toInt32(std::nearbyint(value));
}

} // namespace checked
