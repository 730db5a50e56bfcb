#include <QApplication>

int runSettingsTests(int argc, char** argv);
int runWindowTests(int argc, char** argv);
int runOptionsTests(int argc, char** argv);

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    int failures = runSettingsTests(argc, argv);
    failures += runWindowTests(argc, argv);
    failures += runOptionsTests(argc, argv);
    return failures == 0 ? 0 : 1;
}
