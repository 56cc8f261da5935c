#include <QApplication>
#include <QLocale>
#include <QTranslator>

#include "application_settings.h"
#include "mainwindow.h"

int main(int argc, char* argv[])
{
    QApplication app(argc, argv);

    QString language = QStringLiteral("Default");
    {
        ApplicationSettings prefs(GetPreferencesIniPath());
        prefs.Load(QStringLiteral("Preferences/Language"), language);
    }
    if (language == QLatin1String("Default"))
    {
        language = QLocale::system().name().left(2);
    }
    QTranslator translator;
    if (translator.load(QStringLiteral("./translations/vna_") + language + QStringLiteral(".qm")))
    {
        app.installTranslator(&translator);
    }

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
