#include <QApplication>

int runSettingsTests(int argc, char** argv);

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    return runSettingsTests(argc, argv) == 0 ? 0 : 1;
}
