#include "app/cli/TerminalText.h"

QString terminalText(const QString& text) {
    QString shown;
    shown.reserve(text.size());
    for (const QChar c : text) {
        const char16_t u = c.unicode();
        if (u >= 0x20 && u != 0x7f && (u < 0x80 || u > 0x9f)) {
            shown += c;
        } else if (u == u'\n') {
            shown += QStringLiteral("\\n");
        } else if (u == u'\r') {
            shown += QStringLiteral("\\r");
        } else if (u == u'\t') {
            shown += QStringLiteral("\\t");
        } else {
            shown += QStringLiteral("\\x%1").arg(int(u), 2, 16, QLatin1Char('0'));
        }
    }
    return shown;
}
