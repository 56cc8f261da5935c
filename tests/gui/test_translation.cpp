// The German translation: the language file is complete and consistent, and a window started in
// German shows no English menu text.
#include <QAction>
#include <QDir>
#include <QFile>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QRegularExpression>
#include <QTranslator>
#include <QXmlStreamReader>
#include <QtTest>

#include "application_settings.h"
#include "mainwindow.h"
#include "modal_answerer.h"
#include "preferences.h"
#include "test_fixtures.h"
#include "vna_lib.h"

namespace
{
struct Message
{
    QString context;
    QString source;
    QString translation;
    bool unfinished = false;
};

QVector<Message> ReadTs(const QString& path)
{
    QVector<Message> messages;
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly))
    {
        return messages;
    }
    QXmlStreamReader xml(&f);
    QString context;
    Message m;
    while (!xml.atEnd())
    {
        xml.readNext();
        if (!xml.isStartElement())
        {
            if (xml.isEndElement() && xml.name() == QLatin1String("message"))
            {
                messages.append(m);
            }
            continue;
        }
        if (xml.name() == QLatin1String("name"))
        {
            context = xml.readElementText();
        }
        else if (xml.name() == QLatin1String("message"))
        {
            m = Message{context, {}, {}, false};
        }
        else if (xml.name() == QLatin1String("source"))
        {
            m.source = xml.readElementText();
        }
        else if (xml.name() == QLatin1String("translation"))
        {
            m.unfinished = xml.attributes().value("type") == QLatin1String("unfinished");
            m.translation = xml.readElementText(QXmlStreamReader::IncludeChildElements);
        }
    }
    return messages;
}

// The placeholders of a text, sorted: %1, %2 ... and %L1.
QStringList Placeholders(const QString& text)
{
    QStringList found;
    QRegularExpressionMatchIterator it =
        QRegularExpression(QStringLiteral("%L?\\d")).globalMatch(text);
    while (it.hasNext())
    {
        found << it.next().captured(0);
    }
    found.sort();
    return found;
}

// Every menu title and action text under the menu bar, in order. Menus that fill themselves
// when opened are asked to.
void WalkMenu(QMenu* menu, QStringList& texts)
{
    emit menu->aboutToShow();
    texts << menu->title();
    for (QAction* a : menu->actions())
    {
        if (a->menu())
        {
            WalkMenu(a->menu(), texts);
        }
        else if (!a->isSeparator())
        {
            texts << a->text();
        }
    }
}

QStringList MenuTexts(MainWindow& w)
{
    QStringList texts;
    for (QAction* a : w.menuBar()->actions())
    {
        if (a->menu())
        {
            WalkMenu(a->menu(), texts);
        }
    }
    return texts;
}
}  // namespace

class TestTranslation : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void languageFileIsCompleteAndConsistent();
    void germanWindowHasNoEnglishMenuText();

private:
    VnaLib none;
    QVector<Message> messages;
};

void TestTranslation::initTestCase()
{
    testfx::IsolateUserFiles();
    Preferences::Get().scpiPort = 0;  // any free port: other tests may hold the usual one
    messages = ReadTs(QStringLiteral(VNA_SOURCE_DIR "/translations/vna_de.ts"));
    QVERIFY(messages.size() > 300);
}

void TestTranslation::languageFileIsCompleteAndConsistent()
{
    for (const Message& m : messages)
    {
        const QString where = m.context + QStringLiteral(": ") + m.source;
        QVERIFY2(!m.unfinished && !m.translation.isEmpty(), qPrintable(where));
        QCOMPARE(Placeholders(m.translation), Placeholders(m.source));
        // An accelerator in the source has one in the translation, and the reverse.
        const QRegularExpression accel(QStringLiteral("&[^&\\s]"));
        QVERIFY2(m.source.contains(accel) == m.translation.contains(accel), qPrintable(where));
        QVERIFY2(m.source.endsWith(QLatin1Char(':')) == m.translation.endsWith(QLatin1Char(':')),
                 qPrintable(where));
    }
}

void TestTranslation::germanWindowHasNoEnglishMenuText()
{
    QStringList english;
    {
        testfx::ModalAnswerer yes(QMessageBox::Yes);  // accept the demo device
        MainWindow w(nullptr, &none);
        english = MenuTexts(w);
    }
    QVERIFY(english.size() > 40);

    // The language as the preferences store it, and the program's folder as the working one.
    {
        ApplicationSettings s(GetPreferencesIniPath());
        s.setValue(QStringLiteral("Preferences/Language"), QStringLiteral("de"));
    }
    const QString home = QDir::currentPath();
    QVERIFY(QDir::setCurrent(QStringLiteral(VNA_PROGRAM_DIR)));
    QTranslator translator;
    QVERIFY(InstallTranslation(translator));
    QDir::setCurrent(home);

    QStringList german;
    {
        testfx::ModalAnswerer ja(QMessageBox::Yes);
        MainWindow w(nullptr, &none);
        german = MenuTexts(w);
        QVERIFY(w.windowTitle() != QLatin1String("Kestrix Vector Network Analysis Software"));
    }
    QCOMPARE(german.size(), english.size());

    // Texts alike in both languages are allowed only where the language file says so.
    QSet<QString> sameOnPurpose;
    for (const Message& m : messages)
    {
        if (m.translation == m.source)
        {
            sameOnPurpose.insert(m.source);
        }
    }
    QStringList untranslated;
    for (int i = 0; i < english.size(); ++i)
    {
        if (german[i] == english[i] && !sameOnPurpose.contains(english[i]) &&
            english[i].contains(QRegularExpression(QStringLiteral("[a-z]{2}"))))
        {
            untranslated << english[i];
        }
    }
    QVERIFY2(untranslated.isEmpty(), qPrintable(untranslated.join(QStringLiteral(" | "))));
    QCoreApplication::removeTranslator(&translator);
}

QTEST_MAIN(TestTranslation)
#include "test_translation.moc"
