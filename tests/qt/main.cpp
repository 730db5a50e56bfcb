#include <QApplication>
#include <QTest>

int runSkinAndSettingsTests(int argc, char** argv);
int runDialogTests(int argc, char** argv);

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    int failures = runSkinAndSettingsTests(argc, argv);
    failures += runDialogTests(argc, argv);
    return failures == 0 ? 0 : 1;
}
