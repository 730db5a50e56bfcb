#pragma once

#include <QString>
#include <QStringList>

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

private:
    QString m_component;
    CallLog* m_log;
};

// How a widget argument is written: its objectName, or "null".
QString widgetName(const QWidget* widget);
inline QString boolText(bool value) {
    return value ? QStringLiteral("true") : QStringLiteral("false");
}
