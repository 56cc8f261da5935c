// The equation editor offscreen: what its status line says of a text, how pads and lists edit
// the text, that edits reach the trace through the model, and the stored equation list.
#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMutexLocker>
#include <QPushButton>
#include <QSignalSpy>
#include <QtTest>

#include "application_settings.h"
#include "equation_editor.h"
#include "test_fixtures.h"
#include "vna_model.h"

namespace
{
QPushButton* Button(QWidget& w, const QString& text)
{
    for (QPushButton* b : w.findChildren<QPushButton*>())
    {
        if (b->text() == text)
        {
            return b;
        }
    }
    return nullptr;
}

QListWidget* ListWith(QWidget& w, const QString& item)
{
    for (QListWidget* l : w.findChildren<QListWidget*>())
    {
        if (!l->findItems(item, Qt::MatchExactly).isEmpty())
        {
            return l;
        }
    }
    return nullptr;
}

QStringList Items(const QListWidget* l)
{
    QStringList out;
    for (int i = 0; i < l->count(); ++i)
    {
        out << l->item(i)->text();
    }
    return out;
}

// Presses an item with the mouse, as the operator does.
void Press(QWidget& w, const QString& item)
{
    QListWidget* l = ListWith(w, item);
    QVERIFY2(l, qPrintable(item));
    QListWidgetItem* it = l->findItems(item, Qt::MatchExactly).first();
    l->scrollToItem(it);
    QTest::mousePress(l->viewport(), Qt::LeftButton, {}, l->visualItemRect(it).center());
    QTest::mouseRelease(l->viewport(), Qt::LeftButton, {}, l->visualItemRect(it).center());
}

void Click(QWidget& w, const QString& button)
{
    QPushButton* b = Button(w, button);
    QVERIFY2(b, qPrintable(button));
    QTest::mouseClick(b, Qt::LeftButton);
}

QStringList SavedEquations()
{
    ApplicationSettings s(GetPreferencesIniPath());
    QStringList out;
    const int n = s.BeginReadArray(QStringLiteral("Equations"));
    for (int i = 0; i < n; ++i)
    {
        s.SetArrayIndex(i);
        out << s.Load(QStringLiteral("S")).toString();
    }
    s.EndArray();
    return out;
}

// Two traces on channel 0 with data, the second holding an equation that is switched off.
void Setup(VNAModel& model)
{
    VNAChannel& ch = *model.channels[0];
    ch.stimulus = testfx::Stimulus(1e9, 2e9, 5);
    {
        QMutexLocker lock(&ch.measLock);
        ch.MeasAvg.Resize(5);
        for (int k = 0; k < 4; ++k)
        {
            ch.MeasAvg.GetSParam(VNATraceMeas(k)).fill({0.5, 0.25 * (k + 1)});
        }
    }
    QMutexLocker lock(&model.traceLock);
    int index = 0;
    model.InternalCreateTrace(index)->SetMeas(S21);
    VNATrace* t = model.InternalCreateTrace(index);
    t->equation = QStringLiteral("S21");
}
}  // namespace

class TestEquationEditor : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { testfx::IsolateUserFiles(); }
    void validatesAndAppliesText();
    void padsAndLists();
    void storedEquations();
};

void TestEquationEditor::validatesAndAppliesText()
{
    VNAModel model;
    Setup(model);
    EquationEditor dlg(model, 1);
    dlg.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dlg));
    QCOMPARE(dlg.windowTitle(), QStringLiteral("Equation Editor"));
    QStringList labels;
    for (const QLabel* l : dlg.findChildren<QLabel*>())
    {
        labels << l->text();
    }
    QVERIFY(labels.contains("Tr2") && labels.contains(" = "));
    QCOMPARE(dlg.Equation(), QStringLiteral("S21"));
    QVERIFY(!dlg.IsEquationEnabled());
    QCOMPARE(dlg.StatusText(), QStringLiteral("No known errors"));

    QLineEdit* edit = dlg.findChild<QComboBox*>()->lineEdit();
    QSignalSpy changed(&dlg, &EquationEditor::equationChanged);
    const QList<QPair<QString, QString>> texts = {
        {"1+", "Invalid equation"},
        {"(1+2", "Invalid equation: End of equation not reached"},
        {"Tr1 * .5", "Invalid equation: Invalid characters in equation"},
        {"pi", "Invalid equation"},
        {"Tr1/S11", "No known errors"},
    };
    for (const auto& t : texts)
    {
        edit->selectAll();
        QTest::keyClicks(edit, t.first);
        QCOMPARE(dlg.Equation(), t.first);
        QCOMPARE(dlg.StatusText(), t.second);
        // Every edit goes to the trace, valid or not.
        QMutexLocker lock(&model.traceLock);
        QCOMPARE(model.traces[1]->equation, t.first);
    }
    QCOMPARE(changed.last().at(0).toString(), QStringLiteral("Tr1/S11"));

    // Switched on, the trace shows the equation: trace 1 (S21) over S11 of the data above.
    QSignalSpy enabled(&dlg, &EquationEditor::equationEnabled);
    QTest::mouseClick(dlg.findChild<QCheckBox*>(), Qt::LeftButton);
    QCOMPARE(enabled.count(), 1);
    QVERIFY(enabled.last().at(0).toBool());
    QMutexLocker lock(&model.traceLock);
    const VNATrace& t = *model.traces[1];
    QVERIFY(t.equationEnabled && t.equationValid);
    QCOMPARE(t.GetNameString(), QStringLiteral("Eq=Tr1/S11"));
    const double db =
        20 * std::log10(std::abs(std::complex<double>(0.5, 0.5) / std::complex<double>(0.5, 0.25)));
    QCOMPARE(t.y.size(), 5);
    QVERIFY(std::fabs(t.y[4] - db) < 1e-9);
}

void TestEquationEditor::padsAndLists()
{
    VNAModel model;
    Setup(model);
    EquationEditor dlg(model, 0);
    dlg.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dlg));
    QCOMPARE(dlg.Equation(), QString());

    const QListWidget* functions = ListWith(dlg, "sin");
    QVERIFY(functions);
    QCOMPARE(functions->count(), 22);
    QVERIFY(!Items(functions).contains("ln"));
    QCOMPARE(Items(ListWith(dlg, "Tr1")), QStringList({"Tr1", "Tr1_Mem", "Tr2", "Tr2_Mem"}));
    QCOMPARE(Items(ListWith(dlg, "S11")), QStringList({"S11", "S21", "S12", "S22"}));

    // A function arrives with its parentheses and the cursor between them.
    Press(dlg, "sqrt");
    Press(dlg, "Tr2_Mem");
    QCOMPARE(dlg.Equation(), QStringLiteral("sqrt(Tr2_Mem)"));
    // Pads: pi and e as the language spells them, a blank, the cursor and backspace.
    for (const QString& s : {QStringLiteral("\u2192"), QStringLiteral("*"), QStringLiteral("("),
                             QStringLiteral("\U0001D70B"), QStringLiteral("-"), QStringLiteral("e"),
                             QStringLiteral("^"), QStringLiteral("2"), QStringLiteral(")")})
    {
        Click(dlg, s);
    }
    QCOMPARE(dlg.Equation(), QStringLiteral("sqrt(Tr2_Mem)*(PI-E^2)"));
    Click(dlg, QStringLiteral("\u2190"));
    Click(dlg, QStringLiteral("\u232B"));
    Click(dlg, QStringLiteral("\u2423"));
    Click(dlg, QStringLiteral("3"));
    Click(dlg, QStringLiteral("\u2192"));
    Click(dlg, QStringLiteral("."));
    QCOMPARE(dlg.Equation(), QStringLiteral("sqrt(Tr2_Mem)*(PI-E^ 3)."));
    QCOMPARE(dlg.StatusText(), QStringLiteral("Invalid equation: End of equation not reached"));
    // A selection is replaced by what is pressed.
    QLineEdit* edit = dlg.findChild<QComboBox*>()->lineEdit();
    edit->setSelection(0, 13);
    Press(dlg, "S12");
    edit->end(false);
    Click(dlg, QStringLiteral("\u232B"));
    QCOMPARE(dlg.Equation(), QStringLiteral("S12*(PI-E^ 3)"));
    QCOMPARE(dlg.StatusText(), QStringLiteral("No known errors"));
    QMutexLocker lock(&model.traceLock);
    QCOMPARE(model.traces[0]->equation, QStringLiteral("S12*(PI-E^ 3)"));
}

void TestEquationEditor::storedEquations()
{
    VNAModel model;
    Setup(model);
    {
        EquationEditor dlg(model, 1);
        QLineEdit* edit = dlg.findChild<QComboBox*>()->lineEdit();
        for (const QString& text : {QStringLiteral("S21/S11"), QStringLiteral("Tr1*2"),
                                    QStringLiteral("S21/S11"), QString()})
        {
            edit->setText(text);
            Click(dlg, "Store Equation");
        }
        // Empty text and repeats are not stored; the text being edited stays as it is.
        QCOMPARE(dlg.StoredEquations(), QStringList({"S21/S11", "Tr1*2"}));
        QCOMPARE(SavedEquations(), QStringList({"S21/S11", "Tr1*2"}));
        edit->setText("S21/S11");
        Click(dlg, "Delete Equation");
        QCOMPARE(dlg.Equation(), QStringLiteral("S21/S11"));
        QCOMPARE(SavedEquations(), QStringList({"Tr1*2"}));
        edit->setText("not stored");
        Click(dlg, "Delete Equation");
        QCOMPARE(SavedEquations(), QStringList({"Tr1*2"}));
        edit->setText("(S22)");
        Click(dlg, "Store Equation");
    }
    // A new editor offers what the last one saved, and picking one edits the trace.
    EquationEditor again(model, 0);
    QCOMPARE(again.StoredEquations(), QStringList({"Tr1*2", "(S22)"}));
    QComboBox* combo = again.findChild<QComboBox*>();
    combo->setCurrentIndex(1);
    QCOMPARE(again.Equation(), QStringLiteral("(S22)"));
    QMutexLocker lock(&model.traceLock);
    QCOMPARE(model.traces[0]->equation, QStringLiteral("(S22)"));
}

QTEST_MAIN(TestEquationEditor)
#include "test_equation_editor.moc"
