// Kit management offscreen, through the controls an operator uses: a kit typed into the editor
// comes back from its file as the kit it describes; copy, edit, export, delete and import keep
// it whole; system kits refuse every change.
#include <QListWidget>
#include <QTemporaryDir>
#include <QtTest>
#include <memory>

#include "application_settings.h"
#include "cal_fixtures.h"
#include "calkit_editor.h"
#include "mainwindow.h"
#include "modal_answerer.h"
#include "test_fixtures.h"
#include "touchstone.h"
#include "vna_calkit_list.h"
#include "vna_lib.h"
#include "widget_driver.h"

using testfx::Choose;
using testfx::Click;
using testfx::ModalAnswerer;
using testfx::Type;

namespace
{
bool SameStandard(const CalKitStandardInfo& a, const CalKitStandardInfo& b)
{
    return a.ID == b.ID && a.Type == b.Type && a.Description == b.Description &&
           a.Gender == b.Gender && a.FMin == b.FMin && a.FMax == b.FMax && a.Delay == b.Delay &&
           a.Loss == b.Loss && a.Z0 == b.Z0 && a.C0 == b.C0 && a.C1 == b.C1 && a.C2 == b.C2 &&
           a.C3 == b.C3 && a.L0 == b.L0 && a.L1 == b.L1 && a.L2 == b.L2 && a.L3 == b.L3 &&
           a.DataFreqs == b.DataFreqs && a.DataS11 == b.DataS11;
}

// Same standards and class lists; the name may differ.
bool SameKit(const VNACalKit& a, const VNACalKit& b)
{
    if (a.Standards.size() != b.Standards.size() || a.Connector != b.Connector ||
        a.Description != b.Description)
    {
        return false;
    }
    for (int i = 0; i < a.Standards.size(); ++i)
    {
        if (!SameStandard(a.Standards[i], b.Standards[i]))
        {
            return false;
        }
    }
    for (int c = 0; c < kCalClassCount; ++c)
    {
        if (a.Classes[c] != b.Classes[c])
        {
            return false;
        }
    }
    return true;
}

VNACalKit Kit(const QString& name)
{
    VNACalKit kit;
    const bool loaded = GetCalKitFromName(name, kit);
    return loaded ? kit : VNACalKit();
}

// The model values of the editor's numbered fields, in its order.
void TypeModel(QWidget* editor, const CalKitStandardInfo& s)
{
    const double values[CalKitEditDlg::kModelFields] = {s.Delay, s.Loss, s.Z0, s.C0, s.C1, s.C2,
                                                        s.C3,    s.L0,   s.L1, s.L2, s.L3};
    for (int f = 0; f < CalKitEditDlg::kModelFields; ++f)
    {
        const QByteArray field = "model" + QByteArray::number(f);
        Type(editor, field.constData(), QString::number(values[f], 'g', 10));
    }
}
}  // namespace

class TestCalKitEditor : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void cleanupTestCase();
    void typedKitIsTheKitItDescribes();
    void copyEditExportDeleteImport();
    void systemKitsRefuseChanges();
    void dataBasedStandardAndTheKitList();

private:
    VnaLib none;
    std::unique_ptr<MainWindow> window;
    QTemporaryDir dir;
};

void TestCalKitEditor::initTestCase()
{
    testfx::IsolateUserFiles();
    Preferences::Get().scpiPort = 0;
    ModalAnswerer no(QMessageBox::No);  // no demo device
    window.reset(new MainWindow(nullptr, &none));
}

void TestCalKitEditor::cleanupTestCase()
{
    window.reset();
}

void TestCalKitEditor::typedKitIsTheKitItDescribes()
{
    // The editor is given the model kit's values, standard by standard, in the kit's units.
    VNACalKit model = testfx::ModelKit(82.157, 2.7);
    model.Description = QStringLiteral("bench");
    for (CalKitStandardInfo& s : model.Standards)
    {
        s.Description = VNAStandardToString(s.Type) + QStringLiteral(" of the bench");
    }
    ModalAnswerer answer;
    answer.onDialog = [&](QDialog* d)
    {
        auto* editor = qobject_cast<CalKitEditDlg*>(d);
        QVERIFY(editor);
        auto* name = editor->findChild<QLineEdit*>(QStringLiteral("kitName"));
        name->selectAll();
        QTest::keyClicks(name, QStringLiteral("Lab Kit"));
        auto* description = editor->findChild<QLineEdit*>(QStringLiteral("kitDescription"));
        description->selectAll();
        QTest::keyClicks(description, QStringLiteral("bench"));
        Choose(editor, "kitConnector", 4);  // 2.92mm
        for (const CalKitStandardInfo& s : model.Standards)
        {
            Click(editor, QStringLiteral("Add Standard"));
            Choose(editor, "stdType", int(s.Type));
            Type(editor, "stdDescription", s.Description);
            TypeModel(editor, s);
        }
        Choose(editor, "stdGender", 1);  // the thru is female, as typed last
        editor->accept();
    };
    QVERIFY(window->calKitNew());
    VNACalKit typed = Kit(QStringLiteral("Lab Kit"));
    QCOMPARE(typed.CalKitName, QStringLiteral("Lab Kit"));
    QCOMPARE(typed.Description, QStringLiteral("bench"));
    QCOMPARE(typed.Connector, Conn2_92mm);
    QCOMPARE(typed.Standards.size(), model.Standards.size());
    QCOMPARE(typed.Standards.last().Gender, VNAFemale);
    typed.Standards.last().Gender = VNAMale;
    // IDs 1 to 4 in order, each in its type's class: exactly the model kit.
    QVERIFY(SameKit(typed, model));
    bool found = false;
    for (double f : {40e6, 3.3e9, 27e9})
    {
        const CalKitStandardInfo o = typed.GetStandard(testfx::kOpenId, found);
        QCOMPARE(o.IdealOpen(f), model.GetStandard(testfx::kOpenId, found).IdealOpen(f));
    }
    // A name that is taken, or no file name, is refused and the editor stays open.
    bool stayedOpen = true;
    ModalAnswerer again;
    again.onDialog = [&](QDialog* d)
    {
        // The refusals' boxes are answered by whichever answerer's timer runs first, so the
        // reasons are read from the check the editor asks; the editor must stay open for both.
        // The names are typed without Return, which would accept too.
        ModalAnswerer inner;
        auto* name = d->findChild<QLineEdit*>(QStringLiteral("kitName"));
        for (const QString& refused : {QStringLiteral("Lab Kit"), QStringLiteral("bad/name")})
        {
            name->selectAll();
            QTest::keyClicks(name, refused);
            static_cast<CalKitEditDlg*>(d)->accept();
            stayedOpen = stayedOpen && d->isVisible() && d->result() != QDialog::Accepted;
        }
        d->reject();
    };
    QVERIFY(!window->calKitNew());
    QVERIFY(stayedOpen);
    QString error;
    QVERIFY(!CheckUserCalKitName(QStringLiteral("Lab Kit"), QString(), error));
    QVERIFY2(error.contains(QLatin1String("already exists")), qPrintable(error));
    QVERIFY(!CheckUserCalKitName(QStringLiteral("bad/name"), QString(), error));
    QVERIFY2(error.contains(QLatin1String("not a valid kit name")), qPrintable(error));
}

void TestCalKitEditor::copyEditExportDeleteImport()
{
    const VNACalKit original = Kit(QStringLiteral("Lab Kit"));
    QVERIFY(!original.Standards.isEmpty());
    {
        ModalAnswerer answer;
        answer.onDialog = [](QDialog* d) { static_cast<CalKitEditDlg*>(d)->accept(); };
        QVERIFY(window->calKitCopy(QStringLiteral("Lab Kit")));
    }
    QVERIFY(SameKit(Kit(QStringLiteral("Copy of Lab Kit")), original));

    // Edit the copy: a new name, the short removed, the thru renumbered and raised in its class.
    {
        ModalAnswerer answer;
        answer.onDialog = [](QDialog* d)
        {
            Type(d, "kitName", QStringLiteral("Renamed Kit"));
            auto* list = d->findChild<QListWidget*>(QStringLiteral("standardList"));
            list->setCurrentRow(0);
            Click(d, QStringLiteral("Remove Standard"));
            list->setCurrentRow(2);
            Click(d, QStringLiteral("Copy Standard"));  // a second thru, on the first free ID
            Type(d, "stdID", QStringLiteral("12"));
            Choose(d, "classChoice", CalClassThru);
            d->findChild<QListWidget*>(QStringLiteral("classList"))->setCurrentRow(1);
            Click(d, QStringLiteral("Up"));
            static_cast<CalKitEditDlg*>(d)->accept();
        };
        QVERIFY(window->calKitEdit(QStringLiteral("Copy of Lab Kit")));
    }
    CalKitListEntry gone;
    QVERIFY(!FindCalKit(QStringLiteral("Copy of Lab Kit"), gone));
    const VNACalKit renamed = Kit(QStringLiteral("Renamed Kit"));
    QCOMPARE(renamed.Standards.size(), 4);
    QCOMPARE(renamed.Standards.last().ID, 12);
    QCOMPARE(renamed.Classes[CalClassShort], QList<int>());
    QCOMPARE(renamed.Classes[CalClassThru], (QList<int>{12, testfx::kThruId}));

    // Exported, deleted and imported again: the same kit under the same name.
    const QString exported = dir.filePath(QStringLiteral("Lab Kit.skt"));
    {
        ModalAnswerer answer;
        answer.QueueFile(exported);
        window->calKitExport(QStringLiteral("Lab Kit"));
    }
    {
        ModalAnswerer yes(QMessageBox::Yes);
        QVERIFY(window->calKitDelete(QStringLiteral("Lab Kit")));
    }
    CalKitListEntry entry;
    QVERIFY(!FindCalKit(QStringLiteral("Lab Kit"), entry));
    {
        ModalAnswerer answer;
        answer.QueueFile(exported);
        QVERIFY(window->calKitImport());
    }
    QVERIFY(SameKit(Kit(QStringLiteral("Lab Kit")), original));
    {
        ModalAnswerer answer;
        answer.QueueFile(exported);
        QVERIFY(!window->calKitImport());  // the name is taken now
        QCOMPARE(answer.texts.size(), 1);
    }
}

void TestCalKitEditor::systemKitsRefuseChanges()
{
    const VNACalKit before = Kit(QStringLiteral("85052B"));
    QCOMPARE(before.Standards.size(), 11);
    {
        // Scoped: a live answerer that rejects dialogs would race the copy's editor below.
        ModalAnswerer answer(QMessageBox::Yes);
        answer.onDialog = [](QDialog* d) { d->reject(); };
        QVERIFY(!window->calKitEdit(QStringLiteral("85052B")));
        QVERIFY(!window->calKitDelete(QStringLiteral("85052B")));
        QVERIFY(!window->calKitCharacterize(QStringLiteral("85052B")));
        QCOMPARE(answer.texts.size(), 3);
        for (const QString& text : answer.texts)
        {
            QVERIFY2(text.contains(QLatin1String("read-only")), qPrintable(text));
        }
    }
    QVERIFY(SameKit(Kit(QStringLiteral("85052B")), before));
    // Nor can a user kit take a system kit's name, in any case, or hide one with its file.
    QString error;
    VNACalKit k = before;
    k.CalKitName = QStringLiteral("85052b");
    QVERIFY(!SaveUserCalKit(k, QString(), error));
    QVERIFY(SaveFileWhole(GetUserCalKitFolder() + "85052B.skt", QByteArray("[CalKit]\n")));
    CalKitListEntry entry;
    QVERIFY(FindCalKit(QStringLiteral("85052B"), entry) && entry.system);
    QFile::remove(GetUserCalKitFolder() + "85052B.skt");
    // A system kit copies into an editable user kit.
    ModalAnswerer copy;
    copy.onDialog = [](QDialog* d) { static_cast<CalKitEditDlg*>(d)->accept(); };
    QVERIFY(window->calKitCopy(QStringLiteral("85052B")));
    QVERIFY(SameKit(Kit(QStringLiteral("Copy of 85052B")), before));
}

void TestCalKitEditor::dataBasedStandardAndTheKitList()
{
    // A one-port Touchstone file becomes the data of a data based standard.
    const VNAStimulus stim = testfx::Stimulus(1e9, 5e9, 9);
    const SParameters data = testfx::SmoothSParams(stim.GetFreqVector());
    const QString s1p = dir.filePath(QStringLiteral("std.s1p"));
    QString error;
    QVERIFY(StoreSNPFile(s1p, stim, data, true, 0, error));
    QVector<double> fileFreqs;
    SParameters fileData;
    QVERIFY(LoadS2PFile(s1p, true, fileFreqs, fileData, error));
    CalKitEditDlg editor(Kit(QStringLiteral("Lab Kit")), {});
    Click(&editor, QStringLiteral("Add Standard"));
    QVERIFY(!editor.LoadStandardData(s1p, error));  // a short takes no data
    Choose(&editor, "stdType", VNAStdData);
    QVERIFY2(editor.LoadStandardData(s1p, error), qPrintable(error));
    const CalKitStandardInfo& s = editor.Kit().Standards.last();
    QVERIFY(s.IsDataLoaded() && s.DataReflectOnly);
    QCOMPARE(s.DataFreqs, fileFreqs);
    QCOMPARE(s.DataS11, fileData.S11);
    QCOMPARE(s.DataFileName, QStringLiteral("std.s1p"));
    // Every reflect role reads the data at its frequencies.
    QVERIFY(std::abs(s.IdealShort(fileFreqs[3]) - fileData.S11[3]) < 1e-12);
    // A data based standard starts in the Thru class, as its type suggests.
    QVERIFY(editor.Kit().Classes[CalClassThru].contains(s.ID));

    // The list marks system kits; their Edit and Delete stay disabled.
    CalKitManagerDlg manager(window.get());
    auto* list = manager.findChild<QListWidget*>(QStringLiteral("kitList"));
    QCOMPARE(list->count(), ReadCalKitList().size());
    QVERIFY(manager.SelectKit(QStringLiteral("8770CK40")));
    QVERIFY(list->currentItem()->text().contains(QLatin1String("read-only")));
    auto* edit = manager.findChild<QPushButton*>(QStringLiteral("editKit"));
    auto* remove = manager.findChild<QPushButton*>(QStringLiteral("deleteKit"));
    QVERIFY(!edit->isEnabled() && !remove->isEnabled());
    QVERIFY(manager.SelectKit(QStringLiteral("Renamed Kit")));
    QVERIFY(edit->isEnabled() && remove->isEnabled());
    {
        ModalAnswerer yes(QMessageBox::Yes);
        remove->click();
    }
    QVERIFY(!manager.SelectKit(QStringLiteral("Renamed Kit")));
    QCOMPARE(list->count(), ReadCalKitList().size());
}

QTEST_MAIN(TestCalKitEditor)
#include "test_calkit_editor.moc"
