#include <QApplication>
#include <QTranslator>

#include "mainwindow.h"

int main(int argc, char* argv[])
{
    QApplication app(argc, argv);

    QTranslator translator;
    InstallTranslation(translator);  // without one the program speaks English

    ApplyCommandLineArguments(app.arguments().mid(1));

    MainWindow window;
    if (Hidden::Get())
    {
        window.hide();
    }
    else
    {
        window.show();
    }
    return app.exec();
}
