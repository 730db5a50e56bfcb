#pragma once

#include "components/Error.h"

#include <QtGlobal>
#include <concepts>
#include <limits>

// Checked 16-bit and 32-bit arithmetic: counters and positions that leave their width raise an
// overflow error instead of wrapping.
namespace checked {

template <std::integral T, std::integral A> T narrow(A value) {
    if (!std::in_range<T>(value))
        throw OverflowError(QStringLiteral("%1 does not fit in %2 bits")
                                .arg(static_cast<qlonglong>(value))
                                .arg(sizeof(T) * 8));
    return static_cast<T>(value);
}

template <std::integral T> T add(T a, T b) {
    T r;
    if (__builtin_add_overflow(a, b, &r))
        throw OverflowError(QStringLiteral("%1 + %2").arg(qlonglong(a)).arg(qlonglong(b)));
    return r;
}

template <std::integral T> T sub(T a, T b) {
    T r;
    if (__builtin_sub_overflow(a, b, &r))
        throw OverflowError(QStringLiteral("%1 - %2").arg(qlonglong(a)).arg(qlonglong(b)));
    return r;
}

template <std::integral T> T mul(T a, T b) {
    T r;
    if (__builtin_mul_overflow(a, b, &r))
        throw OverflowError(QStringLiteral("%1 * %2").arg(qlonglong(a)).arg(qlonglong(b)));
    return r;
}

inline qint16 add16(qint16 a, qint16 b) {
    return add<qint16>(a, b);
}
inline qint16 sub16(qint16 a, qint16 b) {
    return sub<qint16>(a, b);
}
inline qint32 add32(qint32 a, qint32 b) {
    return add<qint32>(a, b);
}
inline qint32 sub32(qint32 a, qint32 b) {
    return sub<qint32>(a, b);
}
inline qint32 mul32(qint32 a, qint32 b) {
    return mul<qint32>(a, b);
}

// A floating-point value converted to a 32-bit integer, as the floor or rounded; raises when
// the value is not finite or out of range.
qint32 floor32(double value);
qint32 roundEven32(double value);

} // namespace checked
