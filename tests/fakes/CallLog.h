#pragma once

#include "components/OverwriteRule.h"

#include <QString>
#include <QStringList>
#include <type_traits>

class QWidget;

// Every call made on the fakes of one test, in order and across components, each written as
// "Component.member(args)" with the arguments joined by ", ". Reads of properties are calls
// too ("HarnMediaUtils.Mp3Duration()"); filter with matching() when only some matter.
struct CallLog {
    QStringList calls;

    void clear() { calls.clear(); }
    // The calls that start with prefix ("MEnc." or "Skin.LoadSkin"), in order.
    QStringList matching(const QString& prefix) const;
    // Position of the first call equal to call at or after from, -1 when there is none.
    qsizetype indexOf(const QString& call, qsizetype from = 0) const {
        return calls.indexOf(call, from);
    }
};

// How an argument is written: a widget by its objectName (or "null"), a flag as true/false.
QString widgetName(const QWidget* widget);
inline QString boolText(bool value) {
    return value ? QStringLiteral("true") : QStringLiteral("false");
}
inline QString argText(const QString& value) {
    return value;
}
inline QString argText(bool value) {
    return boolText(value);
}
inline QString argText(QWidget* value) {
    return widgetName(value);
}
// "keep" or "replace", and how many sources are never written over: "keep, 3 sources".
inline QString argText(const OverwriteRule& rule) {
    return QStringLiteral("%1, %2 sources")
        .arg(rule.replace ? QStringLiteral("replace") : QStringLiteral("keep"))
        .arg(rule.sources.size());
}
template <class T>
requires std::is_arithmetic_v<T> QString argText(T value) {
    return QString::number(value);
}

// What every fake shares: its own list of calls, and the shared log when it was given one.
class CallRecorder {
public:
    CallRecorder(const QString& component, CallLog* log);

    // The calls made on this fake, in the same form as in the shared log.
    mutable QStringList calls;

    // How many calls of this member were made ("Encode", "setBitrate").
    qsizetype count(const QString& member) const;

protected:
    void record(const QString& member, const QStringList& args = {}) const;
    // A call recorded with its arguments as argText writes them.
    template <class... A> void call(const char* member, const A&... args) const {
        record(QLatin1String(member), {argText(args)...});
    }
    // A property write: recorded with its value, then kept in field.
    template <class T, class V> void write(const char* member, T& field, const V& value) {
        record(QLatin1String(member), {argText(value)});
        field = value;
    }
    // A property read: recorded, then answered from field.
    template <class T> T read(const char* member, const T& field) const {
        record(QLatin1String(member));
        return field;
    }

private:
    QString m_component;
    CallLog* m_log;
};
