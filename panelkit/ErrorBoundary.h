#pragma once

#include <QApplication>
#include <QString>
#include <exception>
#include <utility>

class MessageBox;

// Handlers are not guarded one by one: an exception ends the handler it escaped from, and this
// boundary shows the error report ("Melvane" and what failed), then the program goes on.
namespace ErrorBoundary {

// The message box that shows reports; without one, reports go to standard error.
void setMessageBox(MessageBox* box);
void report(const QString& text);
void reportCurrentException();

// Wraps a handler for connect(): the handler runs, and whatever it throws is reported here
// instead of unwinding through Qt's own frames.
template <class Object, class Handler> auto handler(Object* object, Handler method) {
    return [object, method](auto&&...) {
        try {
            (object->*method)();
        } catch (...) {
            reportCurrentException();
        }
    };
}

template <class Function> auto guarded(Function function) {
    return [function = std::move(function)](auto&&... args) {
        try {
            function(std::forward<decltype(args)>(args)...);
        } catch (...) {
            reportCurrentException();
        }
    };
}

} // namespace ErrorBoundary

// The last line of the boundary: anything thrown while an event is delivered is reported
// rather than taking the program down.
class MelvaneApplication : public QApplication {
public:
    MelvaneApplication(int& argc, char** argv);
    bool notify(QObject* receiver, QEvent* event) override;
};
