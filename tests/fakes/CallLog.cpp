#include "tests/fakes/CallLog.h"

#include <QWidget>

QStringList CallLog::matching(const QString& prefix) const {
    QStringList found;
    for (const QString& call : calls)
        if (call.startsWith(prefix))
            found.append(call);
    return found;
}

CallRecorder::CallRecorder(const QString& component, CallLog* log)
    : m_component(component), m_log(log) {}

qsizetype CallRecorder::count(const QString& member) const {
    const QString prefix = m_component + u'.' + member + u'(';
    qsizetype n = 0;
    for (const QString& call : calls)
        if (call.startsWith(prefix))
            ++n;
    return n;
}

void CallRecorder::record(const QString& member, const QStringList& args) const {
    const QString call =
        m_component + u'.' + member + u'(' + args.join(QStringLiteral(", ")) + u')';
    calls.append(call);
    if (m_log)
        m_log->calls.append(call);
}

QString widgetName(const QWidget* widget) {
    return widget ? widget->objectName() : QStringLiteral("null");
}
