// The equation language: random expression trees printed to text and checked against an
// evaluator written here, the lexer's quirks, precedence and associativity, every error text,
// and equations running in the model's chain.
#include <QMutexLocker>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>
#include <cmath>
#include <complex>
#include <locale>
#include <memory>
#include <random>
#include <sstream>
#include <thread>

#include "application_settings.h"
#include "equation_tools.h"
#include "test_fixtures.h"
#include "vna_model.h"

using cplx = std::complex<double>;

namespace
{
// The language's own values of its two constants.
const double kE = 2.718281828459045;
const double kPi = 3.141592653589793;

// --- an independent model of the language ------------------------------------------------------

struct Expr
{
    enum Kind
    {
        Number,
        Constant,
        Operand,
        Negate,
        Function,
        Binary
    } kind = Number;
    QString text;  // digits, constant, operand or function name
    double value = 0.0;
    const CplxVector* data = nullptr;
    char op = 0;
    std::unique_ptr<Expr> a, b;
};

const char* const kFunctions[] = {"real", "imag", "mag",   "phase", "norm", "conj",
                                  "proj", "exp",  "ln",    "log10", "sqrt", "sin",
                                  "cos",  "tan",  "asin",  "acos",  "atan", "sinh",
                                  "cosh", "tanh", "asinh", "acosh", "atanh"};

cplx ApplyFunction(const QString& f, cplx z)
{
    if (f == "real")
        return {z.real(), 0.0};
    if (f == "imag")
        return {z.imag(), 0.0};
    if (f == "mag")
        return {std::abs(z), 0.0};
    if (f == "phase")
        return {std::atan2(z.imag(), z.real()), 0.0};
    if (f == "norm")
        return {std::abs(z) * std::abs(z), 0.0};
    if (f == "conj")
        return {z.real(), -z.imag()};
    if (f == "proj")
        return std::proj(z);
    if (f == "exp")
        return std::exp(z);
    if (f == "ln")
        return std::log(z);
    if (f == "log10")
        return {std::log(z).real() / 2.302585092994046, std::log(z).imag() / 2.302585092994046};
    if (f == "sqrt")
        return std::sqrt(z);
    if (f == "sin")
        return std::sin(z);
    if (f == "cos")
        return std::cos(z);
    if (f == "tan")
        return std::tan(z);
    if (f == "asin")
        return std::asin(z);
    if (f == "acos")
        return std::acos(z);
    if (f == "atan")
        return std::atan(z);
    if (f == "sinh")
        return std::sinh(z);
    if (f == "cosh")
        return std::cosh(z);
    if (f == "tanh")
        return std::tanh(z);
    if (f == "asinh")
        return std::asinh(z);
    if (f == "acosh")
        return std::acosh(z);
    return std::atanh(z);
}

// One point of the expression. divZero is set when any division meets an exact zero at this
// point: the language then fails the whole equation.
cplx Eval(const Expr& e, int i, bool& divZero)
{
    switch (e.kind)
    {
        case Expr::Number:
        case Expr::Constant:
            return {e.value, 0.0};
        case Expr::Operand:
            return (*e.data)[i];
        case Expr::Negate:
            return -Eval(*e.a, i, divZero);
        case Expr::Function:
            return ApplyFunction(e.text, Eval(*e.a, i, divZero));
        case Expr::Binary:
            break;
    }
    const cplx x = Eval(*e.a, i, divZero);
    const cplx y = Eval(*e.b, i, divZero);
    switch (e.op)
    {
        case '+':
            return x + y;
        case '-':
            return x - y;
        case '*':
            return x * y;
        case '/':
            divZero |= y == cplx(0.0, 0.0);
            return x / y;
        default:
            return std::pow(x, y);
    }
}

int Prec(const Expr& e)
{
    if (e.kind != Expr::Binary)
    {
        return 10;
    }
    return e.op == '+' || e.op == '-' ? 1 : e.op == '^' ? 4 : 3;
}

// The operands of one scene: S-parameters of the active trace's channel (channel 1 here),
// traces 1 and 2 on channel 0, trace 3 on channel 1, and the three memories.
struct Scene
{
    VNAModel model;
    QMap<QString, const CplxVector*> operands;

    Scene()
    {
        QMutexLocker lock(&model.traceLock);
        const int channels[] = {0, 0, 1};
        const VNATraceMeas meas[] = {S21, S11, S22};
        for (int k = 0; k < 3; ++k)
        {
            int index = 0;
            VNATrace* t = model.InternalCreateTrace(index);
            t->SetChannel(channels[k]);
            t->SetMeas(meas[k]);
        }
        model.selectedTraceIndex = 2;
        const SParameters& p0 = model.channels[0]->processed;
        const SParameters& p1 = model.channels[1]->processed;
        operands = {{"s11", &p1.S11},
                    {"s21", &p1.S21},
                    {"s12", &p1.S12},
                    {"s22", &p1.S22},
                    {"tr1", &p0.S21},
                    {"tr2", &p0.S11},
                    {"tr3", &p1.S22},
                    {"tr1_mem", &model.traces[0]->mem.S21},
                    {"tr2_mem", &model.traces[1]->mem.S11},
                    {"tr3_mem", &model.traces[2]->mem.S22}};
    }

    void Fill(int n, std::mt19937_64& rng)
    {
        std::uniform_real_distribution<double> u(-2.0, 2.0);
        auto fill = [&](SParameters& s)
        {
            s.Resize(n);
            for (int k = 0; k < 4; ++k)
            {
                for (cplx& v : s.GetSParam(VNATraceMeas(k)))
                {
                    v = {u(rng), u(rng)};
                }
            }
        };
        QMutexLocker lock(&model.traceLock);
        fill(model.channels[0]->processed);
        fill(model.channels[1]->processed);
        for (VNATrace* t : model.traces)
        {
            fill(t->mem);
        }
    }

    bool Evaluate(const QString& text, CplxVector& out, QString* message = nullptr)
    {
        QMutexLocker lock(&model.traceLock);
        return EquationTools::EvaluateEquation(text, out, &model, message);
    }
};

class TreeMaker
{
public:
    TreeMaker(std::mt19937_64& rng, const Scene& scene) : rng(rng), scene(scene) {}

    std::unique_ptr<Expr> Make(int depth)
    {
        auto e = std::make_unique<Expr>();
        const int pick = Uniform(100);
        if (depth == 0 || pick < 25)
        {
            MakeLeaf(*e);
            return e;
        }
        if (pick < 65)
        {
            e->kind = Expr::Binary;
            e->op = "+-*/^"[Uniform(5)];
            e->a = Make(depth - 1);
            e->b = Make(depth - 1);
        }
        else if (pick < 77)
        {
            e->kind = Expr::Negate;
            e->a = Make(depth - 1);
        }
        else
        {
            e->kind = Expr::Function;
            e->text = kFunctions[Uniform(int(sizeof(kFunctions) / sizeof(kFunctions[0])))];
            e->a = Make(depth - 1);
        }
        return e;
    }

    // Text that the language reads back as exactly this tree: the fewest parentheses its
    // precedence and associativity need, some more at random, random case where case does not
    // matter, and white space anywhere, also inside names and numbers.
    QString Print(const Expr& e)
    {
        QString s = PrintCompact(e);
        QString out;
        const char blanks[] = {' ', '\t', '\n', '\v', '\f', '\r'};
        for (QChar c : s)
        {
            if (Uniform(10) == 0)
            {
                out += QChar::fromLatin1(blanks[Uniform(6)]);
            }
            out += c;
        }
        return out;
    }

    int Uniform(int n) { return int(rng() % uint64_t(n)); }

private:
    void MakeLeaf(Expr& e)
    {
        const int pick = Uniform(100);
        if (pick < 25)
        {
            e.kind = Expr::Number;
            e.text = QString::number(Uniform(1000));
            if (Uniform(2))
            {
                e.text += "." + QString::number(Uniform(1000));
            }
            std::istringstream in(e.text.toStdString());
            in.imbue(std::locale::classic());
            in >> e.value;
        }
        else if (pick < 35)
        {
            e.kind = Expr::Constant;
            e.text = Uniform(2) ? "E" : "PI";
            e.value = e.text == "E" ? kE : kPi;
        }
        else
        {
            e.kind = Expr::Operand;
            const QStringList names = scene.operands.keys();
            e.text = names[Uniform(names.size())];
            e.data = scene.operands.value(e.text);
        }
    }

    QString RandomCase(const QString& s)
    {
        QString out;
        for (QChar c : s)
        {
            out += Uniform(2) ? c.toUpper() : c.toLower();
        }
        return out;
    }

    QString Wrap(const Expr& e, bool needed)
    {
        const QString s = PrintCompact(e);
        return needed || Uniform(8) == 0 ? "(" + s + ")" : s;
    }

    QString PrintCompact(const Expr& e)
    {
        switch (e.kind)
        {
            case Expr::Number:
            case Expr::Constant:
                return e.text;
            case Expr::Operand:
                return RandomCase(e.text);
            case Expr::Function:
                return RandomCase(e.text) + "(" + PrintCompact(*e.a) + ")";
            case Expr::Negate:
                // Its operand reaches as far as operators that bind tighter than + and -.
                return "-" + Wrap(*e.a, Prec(*e.a) < 2);
            case Expr::Binary:
                break;
        }
        const int p = Prec(e);
        const bool right = e.op == '^';
        // A negation next to * / ^ would take the neighbouring product into itself.
        const bool leftNeeds =
            Prec(*e.a) < p || (Prec(*e.a) == p && right) || (e.a->kind == Expr::Negate && p >= 2);
        const bool rightNeeds =
            Prec(*e.b) < p || (Prec(*e.b) == p && !right) || (e.b->kind == Expr::Negate && p >= 2);
        return Wrap(*e.a, leftNeeds) + QChar::fromLatin1(e.op) + Wrap(*e.b, rightNeeds);
    }

    std::mt19937_64& rng;
    const Scene& scene;
};

bool Same(double x, double y)
{
    return x == y || (std::isnan(x) && std::isnan(y));
}

// Equal, both NaN in the same parts, or within 1e-12 of the reference's size.
bool Close(cplx got, cplx want)
{
    if (Same(got.real(), want.real()) && Same(got.imag(), want.imag()))
    {
        return true;
    }
    const double scale = std::abs(want);
    return std::isfinite(scale) && std::abs(got - want) <= 1e-12 * scale;
}

CplxVector Filled(int n, cplx v)
{
    return CplxVector(n, v);
}

// A channel with known averaged data: S21 = S12 a delay line, S11 = S22 a rising reflection.
cplx Line(double f)
{
    return std::polar(0.5, -2.0 * kPi * f * 1e-9);
}
cplx Refl(double f)
{
    return std::polar(0.2 + 0.1 * f / 1e9, 0.4 + f / 1e10);
}

void FillChannel(VNAChannel& ch, double start, double stop, int n)
{
    ch.stimulus = testfx::Stimulus(start, stop, n);
    QMutexLocker lock(&ch.measLock);
    ch.MeasAvg.Resize(n);
    const QVector<double> f = ch.stimulus.GetFreqVector();
    for (int i = 0; i < n; ++i)
    {
        ch.MeasAvg.S11[i] = ch.MeasAvg.S22[i] = Refl(f[i]);
        ch.MeasAvg.S21[i] = ch.MeasAvg.S12[i] = Line(f[i]);
    }
}

VNATrace* AddTrace(VNAModel& model, int channel, VNATraceMeas meas, VNATraceFormat format,
                   const QString& equation = QString())
{
    VNATrace* t = testfx::AddTrace(model, channel, meas, format);
    QMutexLocker lock(&model.traceLock);
    t->equation = equation;
    t->equationEnabled = !equation.isEmpty();
    return t;
}
}  // namespace

class TestEquations : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { testfx::IsolateUserFiles(); }
    void randomTreesAgainstReference();
    void lexer();
    void precedenceAndQuirks();
    void errorTexts();
    void failureLeavesWhatTheEvaluationLeft();
    void chainThroughModel();
    void chainUnderConcurrentEdits();
};

void TestEquations::randomTreesAgainstReference()
{
    std::mt19937_64 rng(20240611);
    Scene scene;
    TreeMaker maker(rng, scene);
    int failures = 0, compared = 0;
    for (int tree = 0; tree < 3000; ++tree)
    {
        // Sizes around the evaluator's chunk of 256 points, and a single point.
        const int sizes[] = {1, 3, 255, 256, 257, 600};
        const int n = sizes[maker.Uniform(6)];
        scene.Fill(n, rng);
        if (maker.Uniform(25) == 0)
        {
            // A zero sample somewhere: any division by it fails the whole equation.
            (*const_cast<CplxVector*>(scene.operands.value("s11")))[maker.Uniform(n)] = 0.0;
        }
        const std::unique_ptr<Expr> e = maker.Make(1 + maker.Uniform(5));
        const QString text = maker.Print(*e);

        QString parseError;
        QVERIFY2(EquationTools::CheckEquation(text, parseError), qPrintable(text + parseError));
        bool divZero = false;
        CplxVector want(n);
        for (int i = 0; i < n; ++i)
        {
            want[i] = Eval(*e, i, divZero);
        }
        CplxVector got = Filled(n, cplx(7.0, 7.0));
        QString message;
        const bool ok = scene.Evaluate(text, got, &message);
        QVERIFY2(ok == !divZero, qPrintable(text));
        if (!ok)
        {
            QCOMPARE(message, QStringLiteral("Eqn Error: Divide by zero"));
            ++failures;
            continue;
        }
        QVERIFY(message.isEmpty());
        QCOMPARE(got.size(), n);
        for (int i = 0; i < n; ++i)
        {
            // The message is built only for a failure: it costs more than the check.
            if (!Close(got[i], want[i]))
            {
                QFAIL(qPrintable(QString("%1 at %2: got %3%4j want %5%6j")
                                     .arg(text)
                                     .arg(i)
                                     .arg(got[i].real(), 0, 'g', 17)
                                     .arg(got[i].imag(), 0, 'g', 17)
                                     .arg(want[i].real(), 0, 'g', 17)
                                     .arg(want[i].imag(), 0, 'g', 17)));
            }
        }
        ++compared;
    }
    // Both outcomes were exercised.
    QVERIFY(failures > 10);
    QVERIFY(compared > 2500);
}

void TestEquations::lexer()
{
    using EquationTools::TokenType;
    // White space goes first, everywhere: "T r1" is a trace and "2 .5" a number.
    EquationTools::Lexer lex(" T r1_MeM+s\t22*2 .5^(PI)-E\n/tR12/x_1y");
    const QList<QPair<TokenType, QString>> expected = {
        {TokenType::Trace, "Tr1_MeM"}, {TokenType::Operator, "+"}, {TokenType::Trace, "s22"},
        {TokenType::Operator, "*"},    {TokenType::Number, "2.5"}, {TokenType::Operator, "^"},
        {TokenType::LParen, "("},      {TokenType::Number, "PI"},  {TokenType::RParen, ")"},
        {TokenType::Operator, "-"},    {TokenType::Number, "E"},   {TokenType::Operator, "/"},
        {TokenType::Trace, "tR12"},    {TokenType::Operator, "/"}, {TokenType::Operator, "x_1y"},
        {TokenType::Eof, ""},
    };
    for (const auto& want : expected)
    {
        QCOMPARE(lex.Next().type, want.first);  // peeking does not move
        const EquationTools::Token t = lex.Consume();
        QCOMPARE(t.type, want.first);
        QCOMPARE(t.text, want.second);
        if (t.text == "2.5")
        {
            QCOMPARE(t.value, 2.5);
        }
        if (t.text == "PI")
        {
            QCOMPARE(t.value, kPi);
        }
    }
    QCOMPARE(lex.Consume().type, TokenType::Eof);  // and stays there

    // Names that are not traces stay operators for the parser to judge.
    for (const char* word : {"Tr", "Tr_mem", "Tr1_me", "Tr1_memo", "Tr1mem", "xTr1", "pi", "e"})
    {
        EquationTools::Lexer l(word);
        QCOMPARE(l.Next().type, TokenType::Operator);
    }
    // Bytes outside the language, and numbers cut short.
    for (const char* text : {".5", "$", "\xc3\xa9", "#"})
    {
        EquationTools::Lexer l(text);
        QCOMPARE(l.Next().type, TokenType::Error);
        QCOMPARE(l.Next().text, QStringLiteral("Invalid characters in equation"));
    }
    EquationTools::Lexer cut("3.x");
    QCOMPARE(cut.Next().text, QStringLiteral("Not a valid number"));
    // A NUL ends the text as its end would.
    EquationTools::Lexer nul(std::string("1\0+2", 4));
    nul.Consume();
    QCOMPARE(nul.Next().type, TokenType::Eof);

    const QStringList names = {"Number", "Trace", "Operator", "LParen",
                               "RParen", "EOF",   "Error",    "Invalid token type"};
    for (int i = 0; i < names.size(); ++i)
    {
        QCOMPARE(EquationTools::ToString(TokenType(i)), names[i]);
    }
    VNATraceMeas m = S11;
    QVERIFY(EquationTools::TextToMeas("s21", m) && m == S21);
    QVERIFY(EquationTools::TextToMeas("S12", m) && m == S12);
    QVERIFY(!EquationTools::TextToMeas("S13", m) && m == S12);
}

void TestEquations::precedenceAndQuirks()
{
    struct Case
    {
        const char* text;
        bool tree;
        cplx value;
        const char* error;
    };
    const cplx e(kE), pi(kPi);
    const Case cases[] = {
        {"2+3*4", true, 2.0 + 3.0 * 4.0, ""},
        {"2*3+4", true, 2.0 * 3.0 + 4.0, ""},
        {"(2+3)*4", true, (2.0 + 3.0) * 4.0, ""},
        {"8-4-2", true, (8.0 - 4.0) - 2.0, ""},
        {"8/4/2", true, (8.0 / 4.0) / 2.0, ""},
        {"12/3*2", true, (12.0 / 3.0) * 2.0, ""},
        {"2^3^2", true, std::pow(cplx(2), std::pow(cplx(3), cplx(2))), ""},
        {"(2^3)^2", true, std::pow(std::pow(cplx(2), cplx(3)), cplx(2)), ""},
        {"2*3^2", true, 2.0 * std::pow(cplx(3), cplx(2)), ""},
        {"-2^2", true, -std::pow(cplx(2), cplx(2)), ""},
        {"(-2)^2", true, std::pow(cplx(-2), cplx(2)), ""},
        {"-2*3", true, -(2.0 * 3.0), ""},
        {"-3-2", true, -3.0 - 2.0, ""},
        {"2*-3", true, 2.0 * -3.0, ""},
        {"2^-1", true, std::pow(cplx(2), cplx(-1)), ""},
        {"--3", true, 3.0, ""},
        {"1 2", true, 12.0, ""},
        {"s i n(1)", true, std::sin(cplx(1)), ""},
        {"SIN(1)", true, std::sin(cplx(1)), ""},
        {"Ln(E)", true, std::log(e), ""},
        {"log10(1000)", true, std::log(cplx(1000)) / 2.302585092994046, ""},
        // Negation flips the sign of a zero imaginary part: -4 lies below the cut, so its root
        // is -2j and its phase -pi.
        {"sqrt(-4)", true, std::sqrt(-cplx(4)), ""},
        {"phase(-1)", true, -kPi, ""},
        {"E*PI", true, e * pi, ""},
        {"2", true, 2.0, ""},
        {"0.25", true, 0.25, ""},
        // Trailing input: a tree with an error text, and the value of what was taken in.
        {"1+2)", true, 3.0, "End of equation not reached"},
        {"(1+2", true, 3.0, "End of equation not reached"},
        {"1.2.3", true, 1.2, "End of equation not reached"},
        {"2E", true, 2.0, "End of equation not reached"},
        {"1$", true, 1.0, "End of equation not reached"},
        // A function without its parentheses takes what follows as its operand.
        {"sin-1+3", true, std::sin(cplx(2)), "End of equation not reached"},
        // No tree at all.
        {"", false, 0.0, ""},
        {"pi", false, 0.0, ""},
        {"+1", false, 0.0, ""},
        {"1+", false, 0.0, ""},
        {"sin 1", false, 0.0, ""},  // one name once the blank is gone
        {"Tr1 Tr2", false, 0.0, ""},
        {"sin", false, 0.0, "End of equation not reached"},
        {".5", false, 0.0, "Invalid characters in equation"},
        {"1+$", false, 0.0, "Invalid characters in equation"},
        {"1.+2", false, 0.0, "Not a valid number"},
    };
    for (const Case& c : cases)
    {
        EquationTools::Parser parser;
        const bool tree = parser.Parse(c.text) != nullptr;
        QVERIFY2(tree == c.tree, c.text);
        QCOMPARE(parser.Error(), QString::fromLatin1(c.error));
        CplxVector out = Filled(3, cplx(9.0, 9.0));
        QCOMPARE(EquationTools::EvaluateEquation(c.text, out, nullptr), c.tree);
        if (c.tree)
        {
            for (const cplx& v : out)
            {
                QVERIFY2(Close(v, c.value), c.text);
            }
        }
        QString error;
        QCOMPARE(EquationTools::CheckEquation(c.text, error), c.tree && !*c.error);
    }

    // Nesting is bounded so that recursion cannot exhaust the stack.
    const QString deep = QString("(").repeated(150) + "1" + QString(")").repeated(150);
    QString error;
    QVERIFY(!EquationTools::CheckEquation(deep, error));
    QCOMPARE(error, QStringLiteral("Equation nested too deeply"));
    QVERIFY(!EquationTools::CheckEquation(QString("-").repeated(150) + "1", error));
    QVERIFY(!EquationTools::CheckEquation("1" + QString("+1").repeated(150), error));
    QCOMPARE(error, QStringLiteral("Equation nested too deeply"));
    const QString fine = QString("-(").repeated(40) + "2" + QString(")").repeated(40);
    CplxVector out = Filled(2, 0.0);
    QVERIFY(EquationTools::CheckEquation(fine, error));
    QVERIFY(EquationTools::EvaluateEquation(fine, out, nullptr));
    QCOMPARE(out[1], cplx(2.0));
}

void TestEquations::errorTexts()
{
    Scene scene;
    std::mt19937_64 rng(7);
    scene.Fill(10, rng);
    auto failure = [&](const QString& text)
    {
        CplxVector out = Filled(10, 0.0);
        QString message;
        return scene.Evaluate(text, out, &message) ? QStringLiteral("passed") : message;
    };
    QCOMPARE(failure("1/(S11-S11)"), QStringLiteral("Eqn Error: Divide by zero"));
    QCOMPARE(failure("Tr0"), QStringLiteral("Eqn Error: References invalid trace"));
    QCOMPARE(failure("Tr4"), QStringLiteral("Eqn Error: References invalid trace"));
    QCOMPARE(failure("Tr4_mem"), QStringLiteral("Eqn Error: References invalid trace"));
    QCOMPARE(failure("Tr99999999999"), QStringLiteral("Eqn Error: References invalid trace"));
    // Whichever fails first, left before right, is the one reported.
    QCOMPARE(failure("1/0+Tr9"), QStringLiteral("Eqn Error: Divide by zero"));
    QCOMPARE(failure("Tr9+1/0"), QStringLiteral("Eqn Error: References invalid trace"));
    QCOMPARE(failure("tR1*tr2_MEM+S12"), QStringLiteral("passed"));
    {
        QMutexLocker lock(&scene.model.traceLock);
        scene.model.channels[1]->processed.Resize(11);  // trace 3 and the S-parameters
    }
    QCOMPARE(failure("Tr3"), QStringLiteral("Eqn Error: Trace size mismatch"));
    QCOMPARE(failure("S11"), QStringLiteral("Eqn Error: Trace size mismatch"));
    QCOMPARE(failure("Tr3_mem+Tr1"), QStringLiteral("passed"));
    {
        QMutexLocker lock(&scene.model.traceLock);
        scene.model.traces[2]->channel = 8;  // the active trace names no channel
        delete scene.model.traces[1];
        scene.model.traces[1] = nullptr;
    }
    QCOMPARE(failure("S11"), QStringLiteral("Eqn Error: Channel does not exist"));
    QCOMPARE(failure("Tr3"), QStringLiteral("Eqn Error: Channel does not exist"));
    QCOMPARE(failure("Tr2"), QStringLiteral("Eqn Error: References invalid trace"));
    scene.model.selectedTraceIndex = 1;  // an empty slot
    QCOMPARE(failure("s22"), QStringLiteral("Eqn Error: No trace is active"));
    scene.model.selectedTraceIndex = 7;  // beyond the list
    QCOMPARE(failure("S21"), QStringLiteral("Eqn Error: No trace is active"));

    // Without a model nothing but numbers evaluates.
    CplxVector out = Filled(4, 0.0);
    QString message;
    QVERIFY(!EquationTools::EvaluateEquation("S11", out, nullptr, &message));
    QCOMPARE(message, QStringLiteral("Eqn Error: No trace is active"));
    QVERIFY(!EquationTools::EvaluateEquation("Tr1", out, nullptr, &message));
    QCOMPARE(message, QStringLiteral("Eqn Error: References invalid trace"));
    // A parse failure reports nothing on the status line: only the editor shows it.
    message.clear();
    QVERIFY(!EquationTools::EvaluateEquation("pi", out, nullptr, &message));
    QVERIFY(message.isEmpty());
}

void TestEquations::failureLeavesWhatTheEvaluationLeft()
{
    // Every node writes all points: a division stops at its first zero divisor with the points
    // before it done, and a left operand stands in the result vector before the right one is
    // tried. Sizes beyond one chunk show that nothing of a chunked attempt is left over.
    Scene scene;
    std::mt19937_64 rng(11);
    const int n = 700, zero = 600;
    scene.Fill(n, rng);
    const CplxVector& s21 = *scene.operands.value("s21");
    CplxVector& s11 = *const_cast<CplxVector*>(scene.operands.value("s11"));
    s11[zero] = 0.0;
    const CplxVector before = Filled(n, cplx(5.0, -5.0));

    CplxVector out = before;
    QVERIFY(!scene.Evaluate("S21/S11", out));
    for (int i = 0; i < n; ++i)
    {
        QCOMPARE(out[i], i < zero ? s21[i] / s11[i] : s21[i]);
    }
    out = before;
    QVERIFY(!scene.Evaluate("sin(Tr9)", out));  // the operand's own vector failed
    QCOMPARE(out, before);
    out = before;
    QVERIFY(!scene.Evaluate("2*Tr9", out));
    QCOMPARE(out, Filled(n, 2.0));
    out = before;
    QVERIFY(!scene.Evaluate("1/S11*2", out));
    for (int i = 0; i < n; ++i)
    {
        QCOMPARE(out[i], i < zero ? 1.0 / s11[i] : cplx(1.0));
    }
}

void TestEquations::chainThroughModel()
{
    VNAModel model;
    const int n = 201;
    FillChannel(*model.channels[0], 1e9, 3e9, n);
    FillChannel(*model.channels[1], 1e9, 3e9, 11);
    const QVector<double> f = model.channels[0]->stimulus.GetFreqVector();
    VNATrace* s21 = AddTrace(model, 0, S21, LinMag);
    AddTrace(model, 0, S11, LinMag);
    VNATrace* re = AddTrace(model, 0, S11, Real, "Tr1/Tr2");
    VNATrace* im = AddTrace(model, 0, S22, Imag, "S21/S11");
    AddTrace(model, 1, S22, LogMag);
    QSignalSpy status(&model, &VNAModel::statusMessageSignal);
    QSignalSpy plots(&model, &VNAModel::updatePlotsSignal);
    model.CalcTraces(1);
    model.CalcTraces(0);

    QVERIFY(re->equationValid && im->equationValid);
    QCOMPARE(re->GetNameString(), QStringLiteral("Eq=Tr1/Tr2"));
    QCOMPARE(re->y.size(), n);
    for (int i = 0; i < n; ++i)
    {
        const cplx want = Line(f[i]) / Refl(f[i]);
        QVERIFY(std::fabs(re->y[i] - want.real()) < 1e-12);
        QVERIFY(std::fabs(im->y[i] - want.imag()) < 1e-12);
        QVERIFY(std::fabs(s21->y[i] - 0.5) < 1e-12);  // the operands themselves are untouched
    }
    QCOMPARE(status.count(), 0);

    // Through the setters the window uses: stored, recalculated, refreshed.
    QVERIFY(model.SetTraceEquation(2, "Tr3*2"));  // its own trace: the data before the equation
    QVERIFY(plots.count() >= 1);
    for (int i = 0; i < n; ++i)
    {
        QVERIFY(std::fabs(re->y[i] - 2.0 * Refl(f[i]).real()) < 1e-12);
    }
    QVERIFY(model.SetTraceEquationEnabled(2, false));
    QCOMPARE(re->GetNameString(), QStringLiteral("S11"));
    QVERIFY(std::fabs(re->y[7] - Refl(f[7]).real()) < 1e-12);
    QVERIFY(!model.SetTraceEquation(9, "1"));
    QVERIFY(!model.SetTraceEquationEnabled(-1, true));

    // A failing equation shows on the label and the status line; the trace keeps running.
    QVERIFY(model.SetTraceEquationEnabled(2, true));
    QVERIFY(model.SetTraceEquation(2, "Tr5+Tr1"));
    QVERIFY(!re->equationValid);
    QCOMPARE(re->GetNameString(), QStringLiteral("Eqn Err"));
    QCOMPARE(re->y.size(), n);
    QVERIFY(status.count() >= 1);
    QCOMPARE(status.last().at(0).toString(), QStringLiteral("Eqn Error: Trace size mismatch"));
    {
        QMutexLocker lock(&model.channels[0]->measLock);
        model.channels[0]->MeasAvg.S11[150] = 0.0;
    }
    model.CalcTraces(0);
    QVERIFY(!im->equationValid);
    QCOMPARE(status.last().at(0).toString(), QStringLiteral("Eqn Error: Divide by zero"));
    QVERIFY(model.SetTraceEquation(2, "2"));
    QVERIFY(re->equationValid && re->equationError.isEmpty());
    QCOMPARE(re->y, QVector<double>(n, 2.0));

    // Equations travel with the trace's preset.
    QTemporaryDir dir;
    {
        ApplicationSettings s(dir.filePath("trace.ini"));
        im->SavePreset(s);
    }
    VNATrace loaded;
    {
        ApplicationSettings s(dir.filePath("trace.ini"));
        loaded.LoadPreset(s);
    }
    QVERIFY(loaded.equationEnabled);
    QCOMPARE(loaded.equation, QStringLiteral("S21/S11"));

    // A failing equation switched off is silent from then on.
    QVERIFY(model.SetTraceEquationEnabled(3, false));
    const int reported = status.count();
    model.CalcTraces(0);
    QCOMPARE(status.count(), reported);
}

void TestEquations::chainUnderConcurrentEdits()
{
    // The chain runs on the measurement thread while the interface edits equations that read
    // other traces: neither may wait for a lock the other already holds.
    VNAModel model;
    const int n = 1001;
    FillChannel(*model.channels[0], 1e9, 3e9, n);
    AddTrace(model, 0, S21, LinMag);
    AddTrace(model, 0, S11, LinMag);
    VNATrace* eq = AddTrace(model, 0, S11, Real, "Tr1/Tr2");
    std::thread loop(
        [&]
        {
            for (int k = 0; k < 300; ++k)
            {
                model.CalcTraces(0);
            }
        });
    for (int k = 0; k < 300; ++k)
    {
        model.SetTraceEquation(2, k % 2 ? "Tr1*Tr2+S12" : "Tr1/Tr2");
    }
    loop.join();
    model.CalcTraces(0);
    QMutexLocker lock(&model.traceLock);
    QVERIFY(eq->equationValid);
    QCOMPARE(eq->equation, QStringLiteral("Tr1*Tr2+S12"));
}

QTEST_GUILESS_MAIN(TestEquations)
#include "test_equations.moc"
