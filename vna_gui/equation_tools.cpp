#include "equation_tools.h"

#include <QCoreApplication>
#include <algorithm>
#include <cmath>
#include <vector>

#include "signal_ops.h"
#include "vna_model.h"

namespace EquationTools
{
namespace
{
// Points per chunk of a chunked pass: the buffers of a typical tree stay in the first-level
// cache, and the tree is walked once per chunk rather than once per point.
constexpr int kChunk = 256;
// Deeper input is refused: parsing and evaluation recurse once per level, and a whole pass
// holds one vector per level.
constexpr int kMaxNesting = 100;

QString Tr(const char* text)
{
    return QCoreApplication::translate("EquationTools", text);
}

enum Function
{
    Negate,
    Real,
    Imag,
    Mag,
    Phase,
    Norm,
    Conj,
    Proj,
    Exp,
    Ln,
    Log10,
    Sqrt,
    Sin,
    Cos,
    Tan,
    Asin,
    Acos,
    Atan,
    Sinh,
    Cosh,
    Tanh,
    Asinh,
    Acosh,
    Atanh,
    NotAFunction
};

struct FunctionName
{
    const char* name;
    Function function;
};

const FunctionName kFunctions[] = {
    {"real", Real},   {"imag", Imag},   {"mag", Mag},     {"phase", Phase}, {"norm", Norm},
    {"conj", Conj},   {"proj", Proj},   {"exp", Exp},     {"ln", Ln},       {"log10", Log10},
    {"sqrt", Sqrt},   {"sin", Sin},     {"cos", Cos},     {"tan", Tan},     {"asin", Asin},
    {"acos", Acos},   {"atan", Atan},   {"sinh", Sinh},   {"cosh", Cosh},   {"tanh", Tanh},
    {"asinh", Asinh}, {"acosh", Acosh}, {"atanh", Atanh},
};

Function FunctionOf(const QString& text)
{
    const QString lower = text.toLower();
    for (const FunctionName& f : kFunctions)
    {
        if (lower == QLatin1String(f.name))
        {
            return f.function;
        }
    }
    return NotAFunction;
}

template <typename F>
void Map(const cplx* z, cplx* out, int n, F f)
{
    for (int i = 0; i < n; ++i)
    {
        out[i] = f(z[i]);
    }
}

void ApplyUnary(int function, const cplx* z, cplx* out, int n)
{
    switch (function)
    {
        case Negate:
            return Map(z, out, n, [](cplx v) { return -v; });
        case Real:
            return Map(z, out, n, [](cplx v) { return cplx(v.real(), 0.0); });
        case Imag:
            return Map(z, out, n, [](cplx v) { return cplx(v.imag(), 0.0); });
        case Mag:
            return Map(z, out, n, [](cplx v) { return cplx(std::abs(v), 0.0); });
        case Phase:
            return Map(z, out, n, [](cplx v) { return cplx(std::atan2(v.imag(), v.real()), 0.0); });
        case Norm:
            return Map(z, out, n,
                       [](cplx v)
                       {
                           const double m = std::abs(v);
                           return cplx(m * m, 0.0);
                       });
        case Conj:
            return Map(z, out, n, [](cplx v) { return cplx(v.real(), -v.imag()); });
        // The standard functions of a complex double are the C library's (csin, cproj ...).
        case Proj:
            return Map(z, out, n, [](cplx v) { return std::proj(v); });
        case Exp:
            return Map(z, out, n, [](cplx v) { return std::exp(v); });
        case Ln:
            return Map(z, out, n, [](cplx v) { return std::log(v); });
        case Log10:
            return Map(z, out, n,
                       [](cplx v)
                       {
                           const cplx l = std::log(v);
                           return cplx(l.real() / 2.302585092994046, l.imag() / 2.302585092994046);
                       });
        case Sqrt:
            return Map(z, out, n, [](cplx v) { return std::sqrt(v); });
        case Sin:
            return Map(z, out, n, [](cplx v) { return std::sin(v); });
        case Cos:
            return Map(z, out, n, [](cplx v) { return std::cos(v); });
        case Tan:
            return Map(z, out, n, [](cplx v) { return std::tan(v); });
        case Asin:
            return Map(z, out, n, [](cplx v) { return std::asin(v); });
        case Acos:
            return Map(z, out, n, [](cplx v) { return std::acos(v); });
        case Atan:
            return Map(z, out, n, [](cplx v) { return std::atan(v); });
        case Sinh:
            return Map(z, out, n, [](cplx v) { return std::sinh(v); });
        case Cosh:
            return Map(z, out, n, [](cplx v) { return std::cosh(v); });
        case Tanh:
            return Map(z, out, n, [](cplx v) { return std::tanh(v); });
        case Asinh:
            return Map(z, out, n, [](cplx v) { return std::asinh(v); });
        case Acosh:
            return Map(z, out, n, [](cplx v) { return std::acosh(v); });
        case Atanh:
            return Map(z, out, n, [](cplx v) { return std::atanh(v); });
    }
}

// out = a op b point by point; out may be a. Returns the index of the first divisor that is
// exactly zero, with the points before it done, or -1.
int ApplyBinary(char op, const cplx* a, const cplx* b, cplx* out, int n)
{
    switch (op)
    {
        case '+':
            for (int i = 0; i < n; ++i)
            {
                out[i] = a[i] + b[i];
            }
            break;
        case '-':
            for (int i = 0; i < n; ++i)
            {
                out[i] = a[i] - b[i];
            }
            break;
        case '*':
            // The library's product, with its recovery of infinities.
            sig::Mul(a, b, out, n);
            break;
        case '/':
            return sig::DivUntilZero(a, b, out, n);
        case '^':
            for (int i = 0; i < n; ++i)
            {
                out[i] = std::pow(a[i], b[i]);  // cpow
            }
            break;
    }
    return -1;
}

// Full-length vectors kept from pass to pass on each thread, so evaluation allocates nothing
// in steady state. The parser keeps nothing: only these buffers survive a pass.
struct Workspace
{
    std::vector<CplxVector> spare;
    std::vector<cplx> chunks;

    CplxVector Take(int n)
    {
        CplxVector v;
        if (!spare.empty())
        {
            v = std::move(spare.back());
            spare.pop_back();
        }
        v.resize(n);
        return v;
    }
    void Give(CplxVector& v) { spare.push_back(std::move(v)); }
};

Workspace& ThreadWorkspace()
{
    thread_local Workspace workspace;
    return workspace;
}

int TraceNumber(const QString& text)
{
    // "Tr12" or "Tr12_mem": the digits after the first two letters. Too many digits read as 0,
    // which no trace has.
    const int end = text.indexOf(QLatin1Char('_'));
    return text.mid(2, end < 0 ? -1 : end - 2).toInt();
}

const VNATrace* ReferencedTrace(const QString& text, const Context& context)
{
    const int index = TraceNumber(text) - 1;
    const VNAModel* m = context.model;
    if (!m || !m->IsValidTraceIndex(index) || !m->traces[index])
    {
        Tree::Error(Tr("References invalid trace"), context);
        return nullptr;
    }
    return m->traces[index];
}

const CplxVector& ChannelData(int channel, VNATraceMeas meas, const Context& context, bool& ok)
{
    static const CplxVector kEmpty;
    if (!context.model->IsValidChannelIndex(channel))
    {
        Tree::Error(Tr("Channel does not exist"), context);
        ok = false;
        return kEmpty;
    }
    ok = true;
    return context.model->channels[channel]->processed.GetSParam(meas);
}

const CplxVector& Failed(bool& ok)
{
    static const CplxVector kEmpty;
    ok = false;
    return kEmpty;
}

bool IsDigit(char c)
{
    return c >= '0' && c <= '9';
}

bool IsLetter(char c)
{
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

bool IsTraceName(const std::string& s)
{
    // (T|t)(R|r)(\d+), optionally followed by _mem in any case.
    if (s.size() < 3 || (s[0] != 'T' && s[0] != 't') || (s[1] != 'R' && s[1] != 'r'))
    {
        return false;
    }
    size_t i = 2;
    while (i < s.size() && IsDigit(s[i]))
    {
        ++i;
    }
    if (i == 2)
    {
        return false;
    }
    if (i == s.size())
    {
        return true;
    }
    return s.size() == i + 4 && s[i] == '_' &&
           QString::fromLatin1(s.c_str() + i + 1, 3)
                   .compare(QLatin1String("mem"), Qt::CaseInsensitive) == 0;
}

bool FillConstant(Token& token)
{
    // Case-sensitive, unlike the function names.
    if (token.text == QLatin1String("E"))
    {
        token.value = 2.718281828459045;
    }
    else if (token.text == QLatin1String("PI"))
    {
        token.value = 3.141592653589793;
    }
    else
    {
        return false;
    }
    token.type = TokenType::Number;
    return true;
}

Token MakeToken(TokenType type, const QString& text, double value = 0.0)
{
    Token t;
    t.type = type;
    t.text = text;
    t.value = value;
    return t;
}
}  // namespace

QString ToString(TokenType type)
{
    switch (type)
    {
        case TokenType::Number:
            return QStringLiteral("Number");
        case TokenType::Trace:
            return QStringLiteral("Trace");
        case TokenType::Operator:
            return QStringLiteral("Operator");
        case TokenType::LParen:
            return QStringLiteral("LParen");
        case TokenType::RParen:
            return QStringLiteral("RParen");
        case TokenType::Eof:
            return QStringLiteral("EOF");
        case TokenType::Error:
            return QStringLiteral("Error");
    }
    return QStringLiteral("Invalid token type");
}

bool TextToMeas(const QString& text, VNATraceMeas& meas)
{
    const QString lower = text.toLower();
    const VNATraceMeas all[] = {S11, S21, S12, S22};
    const char* names[] = {"s11", "s21", "s12", "s22"};
    for (int i = 0; i < 4; ++i)
    {
        if (lower == QLatin1String(names[i]))
        {
            meas = all[i];
            return true;
        }
    }
    return false;
}

// --- operands ------------------------------------------------------------------------------

const CplxVector& GetParameter(VNATraceMeas meas, const Context& context, bool& ok)
{
    // The channel of the active trace, whichever trace owns the equation.
    const VNATrace* active = context.model ? context.model->ActiveTrace() : nullptr;
    if (!active)
    {
        Tree::Error(Tr("No trace is active"), context);
        return Failed(ok);
    }
    return ChannelData(active->channel, meas, context, ok);
}

const CplxVector& GetTrace(const QString& text, const Context& context, bool& ok)
{
    // That trace's selected data before its own equation and everything after it.
    const VNATrace* t = ReferencedTrace(text, context);
    if (!t)
    {
        return Failed(ok);
    }
    return ChannelData(t->channel, t->meas, context, ok);
}

const CplxVector& GetTraceMem(const QString& text, const Context& context, bool& ok)
{
    const VNATrace* t = ReferencedTrace(text, context);
    if (!t)
    {
        return Failed(ok);
    }
    ok = true;
    return t->mem.GetSParam(t->meas);
}

const CplxVector& GetInnerTrace(const QString& text, const Context& context, bool& ok)
{
    VNATraceMeas meas = S11;
    if (TextToMeas(text, meas))
    {
        return GetParameter(meas, context, ok);
    }
    if (text.toLower().endsWith(QLatin1String("_mem")))
    {
        return GetTraceMem(text, context, ok);
    }
    return GetTrace(text, context, ok);
}

// --- tree --------------------------------------------------------------------------------

void Tree::Error(const QString& text, const Context& context)
{
    if (context.message)
    {
        *context.message = Tr("Eqn Error: ") + text;
    }
}

bool Tree::Evaluate(CplxVector& out, const Context& context) const
{
    const int n = out.size();
    const Context quiet{context.model, nullptr};
    if (n == 0 || !Bind(quiet, n))
    {
        return EvaluateWhole(out, context);
    }
    // Chunked into a spare vector, so that a failure can be repeated whole over the untouched
    // data: what the whole pass reports and leaves behind is the defined outcome.
    Workspace& w = ThreadWorkspace();
    CplxVector result = w.Take(n);
    const int levels = Height();
    // Level 0 writes straight into the result; the levels below into chunks of their own.
    w.chunks.resize(size_t(levels - 1) * kChunk);
    std::vector<cplx*> buffers(static_cast<size_t>(levels));
    for (int k = 1; k < levels; ++k)
    {
        buffers[size_t(k)] = w.chunks.data() + size_t(k - 1) * kChunk;
    }
    const Frame frame{buffers.data(), &context, false};
    cplx* dst = result.data();
    for (int lo = 0; lo < n; lo += kChunk)
    {
        const int len = std::min(kChunk, n - lo);
        buffers[0] = dst + lo;
        const cplx* r = Compute(frame, 0, lo, len);
        if (!r)
        {
            w.Give(result);
            return EvaluateWhole(out, context);
        }
        if (r != buffers[0])
        {
            std::copy(r, r + len, buffers[0]);
        }
    }
    std::swap(out, result);
    w.Give(result);
    return true;
}

bool Tree::EvaluateWhole(CplxVector& out, const Context& context) const
{
    // Every node writes all points: left operands into their parent's vector, right and unary
    // operands into a vector one level down, as the language defines its evaluation.
    Workspace& w = ThreadWorkspace();
    const int n = out.size();
    const int levels = Height();
    std::vector<CplxVector> temporaries(static_cast<size_t>(std::max(levels - 1, 0)));
    std::vector<cplx*> buffers(static_cast<size_t>(levels));
    buffers[0] = out.data();
    for (int k = 1; k < levels; ++k)
    {
        temporaries[size_t(k - 1)] = w.Take(n);
        buffers[size_t(k)] = temporaries[size_t(k - 1)].data();
    }
    const Frame frame{buffers.data(), &context, true};
    const bool ok = Compute(frame, 0, 0, n) != nullptr;
    for (CplxVector& t : temporaries)
    {
        w.Give(t);
    }
    return ok;
}

const CplxVector* Terminal::Resolve(const Context& context, int n) const
{
    bool ok = false;
    const CplxVector& v = GetInnerTrace(token.text, context, ok);
    if (!ok)
    {
        return nullptr;
    }
    if (v.size() != n)
    {
        Error(Tr("Trace size mismatch"), context);
        return nullptr;
    }
    return &v;
}

bool Terminal::Bind(const Context& context, int n) const
{
    if (token.type == TokenType::Number)
    {
        constant.fill(cplx(token.value, 0.0), kChunk);
        return true;
    }
    bound = Resolve(context, n);
    return bound != nullptr;
}

const cplx* Terminal::Compute(const Frame& frame, int level, int lo, int len) const
{
    cplx* dst = frame.buffers[level];
    if (!frame.exact)
    {
        // Read in place: no copy.
        return token.type == TokenType::Number ? constant.constData() : bound->constData() + lo;
    }
    if (token.type == TokenType::Number)
    {
        std::fill(dst, dst + len, cplx(token.value, 0.0));
        return dst;
    }
    const CplxVector* v = Resolve(*frame.context, len);
    if (!v)
    {
        return nullptr;
    }
    std::copy(v->constBegin(), v->constEnd(), dst);
    return dst;
}

UnaryOperator::UnaryOperator(const Token& token) : Tree(token)
{
    function = token.text == QLatin1String("-") ? Negate : FunctionOf(token.text);
}

void UnaryOperator::SetOp(std::unique_ptr<Tree> operand)
{
    op = std::move(operand);
    depth = 1 + op->Depth();
}

int UnaryOperator::Height() const
{
    return 1 + op->Height();
}

bool UnaryOperator::Bind(const Context& context, int n) const
{
    return op->Bind(context, n);
}

const cplx* UnaryOperator::Compute(const Frame& frame, int level, int lo, int len) const
{
    const cplx* z = op->Compute(frame, level + 1, lo, len);
    if (!z)
    {
        return nullptr;
    }
    cplx* dst = frame.buffers[level];
    ApplyUnary(function, z, dst, len);
    return dst;
}

void BinaryOperator::SetOps(std::unique_ptr<Tree> left, std::unique_ptr<Tree> right)
{
    lhs = std::move(left);
    rhs = std::move(right);
    depth = 1 + std::max(lhs->Depth(), rhs->Depth());
}

int BinaryOperator::Precedence() const
{
    return Parser::Precedence(token);
}

BinaryOperator::Assoc BinaryOperator::Associativity() const
{
    return Parser::IsRightAssociative(token) ? Right : Left;
}

int BinaryOperator::Height() const
{
    return std::max(lhs->Height(), 1 + rhs->Height());
}

bool BinaryOperator::Bind(const Context& context, int n) const
{
    return lhs->Bind(context, n) && rhs->Bind(context, n);
}

const cplx* BinaryOperator::Compute(const Frame& frame, int level, int lo, int len) const
{
    const cplx* a = lhs->Compute(frame, level, lo, len);
    if (!a)
    {
        return nullptr;
    }
    const cplx* b = rhs->Compute(frame, level + 1, lo, len);
    if (!b)
    {
        return nullptr;
    }
    cplx* dst = frame.buffers[level];
    if (ApplyBinary(token.text.at(0).toLatin1(), a, b, dst, len) >= 0)
    {
        if (frame.exact)
        {
            Error(Tr("Divide by zero"), *frame.context);
        }
        return nullptr;
    }
    return dst;
}

// --- lexer -------------------------------------------------------------------------------

Lexer::Lexer(const std::string& equation)
{
    text.reserve(equation.size());
    for (char c : equation)
    {
        if (c != ' ' && !(c >= 9 && c <= 13))
        {
            text.push_back(c);
        }
    }
    current = GetToken();
}

Token Lexer::Consume()
{
    Token t = current;
    position += t.text.size();
    current = GetToken();
    return t;
}

char Lexer::GetChar(int i) const
{
    return i >= 0 && size_t(i) < text.size() ? text[size_t(i)] : '\0';
}

Token Lexer::GetToken() const
{
    const char c = GetChar(position);
    switch (c)
    {
        case '\0':
            return MakeToken(TokenType::Eof, QString());
        case '(':
            return MakeToken(TokenType::LParen, QStringLiteral("("));
        case ')':
            return MakeToken(TokenType::RParen, QStringLiteral(")"));
        case '+':
        case '-':
        case '*':
        case '/':
        case '^':
            return MakeToken(TokenType::Operator, QString(QLatin1Char(c)));
        default:
            break;
    }
    if (IsDigit(c))
    {
        return GetNumber();
    }
    if (IsLetter(c))
    {
        return GetIdentifier();
    }
    return MakeToken(TokenType::Error, Tr("Invalid characters in equation"));
}

Token Lexer::GetNumber() const
{
    // Digits, then optionally a period and more digits. No exponent, no leading period.
    int end = position;
    while (IsDigit(GetChar(end)))
    {
        ++end;
    }
    if (GetChar(end) == '.')
    {
        if (!IsDigit(GetChar(end + 1)))
        {
            return MakeToken(TokenType::Error, Tr("Not a valid number"));
        }
        ++end;
        while (IsDigit(GetChar(end)))
        {
            ++end;
        }
    }
    const QString digits = QString::fromLatin1(text.data() + position, end - position);
    return MakeToken(TokenType::Number, digits, digits.toDouble());
}

Token Lexer::GetIdentifier() const
{
    int end = position + 1;
    for (char c = GetChar(end); IsLetter(c) || IsDigit(c) || c == '_'; c = GetChar(++end))
    {
    }
    const std::string word = text.substr(size_t(position), size_t(end - position));
    Token t = MakeToken(TokenType::Operator, QString::fromLatin1(word.data(), int(word.size())));
    VNATraceMeas meas = S11;
    if (IsTraceName(word) || TextToMeas(t.text, meas))
    {
        t.type = TokenType::Trace;
    }
    else
    {
        FillConstant(t);
    }
    return t;
}

// --- parser ------------------------------------------------------------------------------

bool Parser::IsBinary(const Token& token)
{
    return token.type == TokenType::Operator && !token.text.isEmpty() &&
           QStringLiteral("+-*/^").contains(token.text.at(0));
}

bool Parser::IsFunction(const Token& token)
{
    return token.type == TokenType::Operator && FunctionOf(token.text) != NotAFunction;
}

bool Parser::IsUnary(const Token& token)
{
    return token.type == TokenType::Operator &&
           (token.text.startsWith(QLatin1Char('-')) || IsFunction(token));
}

bool Parser::IsTerminal(const Token& token)
{
    return token.type == TokenType::Number || token.type == TokenType::Trace;
}

int Parser::Precedence(const Token& token)
{
    switch (token.text.isEmpty() ? '\0' : token.text.at(0).toLatin1())
    {
        case '+':
        case '-':
            return 1;
        case '*':
        case '/':
            return 3;
        case '^':
            return 4;
        default:
            return -1;
    }
}

bool Parser::IsRightAssociative(const Token& token)
{
    return token.text.startsWith(QLatin1Char('^'));
}

std::unique_ptr<Tree> Parser::Parse(const std::string& equation)
{
    error.clear();
    nesting = 0;
    lexer = std::make_unique<Lexer>(equation);
    std::unique_ptr<Tree> t = Exp(0);
    if (t)
    {
        Expect(TokenType::Eof);
    }
    return t;
}

bool Parser::WithinNesting(int levels)
{
    if (levels <= kMaxNesting)
    {
        return true;
    }
    error = Tr("Equation nested too deeply");
    return false;
}

std::unique_ptr<Tree> Parser::Exp(int p)
{
    // Counts this call for as long as it runs.
    ++nesting;
    struct Leave
    {
        int& n;
        ~Leave() { --n; }
    } leave{nesting};
    if (!WithinNesting(nesting))
    {
        return nullptr;
    }
    std::unique_ptr<Tree> t = P();
    if (!t)
    {
        return nullptr;
    }
    while (IsBinary(lexer->Next()) && Precedence(lexer->Next()) >= p)
    {
        auto op = std::make_unique<BinaryOperator>(lexer->Consume());
        const int q =
            op->Associativity() == BinaryOperator::Right ? op->Precedence() : op->Precedence() + 1;
        std::unique_ptr<Tree> r = Exp(q);
        if (!r)
        {
            return nullptr;
        }
        op->SetOps(std::move(t), std::move(r));
        if (!WithinNesting(op->Depth()))
        {
            return nullptr;
        }
        t = std::move(op);
    }
    return t;
}

std::unique_ptr<Tree> Parser::P()
{
    const Token& next = lexer->Next();
    if (IsFunction(next) || IsUnary(next))
    {
        const bool function = IsFunction(next);
        auto node = std::make_unique<UnaryOperator>(lexer->Consume());
        // A function's parentheses are required; unary minus binds tighter than + - only.
        if (function)
        {
            Expect(TokenType::LParen);
        }
        std::unique_ptr<Tree> a = Exp(function ? 0 : 2);
        if (!a)
        {
            return nullptr;
        }
        if (function)
        {
            Expect(TokenType::RParen);
        }
        node->SetOp(std::move(a));
        return WithinNesting(node->Depth()) ? std::move(node) : nullptr;
    }
    if (next.type == TokenType::LParen)
    {
        lexer->Consume();
        std::unique_ptr<Tree> a = Exp(0);
        if (!a)
        {
            return nullptr;
        }
        Expect(TokenType::RParen);
        return a;
    }
    if (IsTerminal(next))
    {
        return std::make_unique<Terminal>(lexer->Consume());
    }
    if (next.type == TokenType::Error)
    {
        error = next.text;
    }
    return nullptr;
}

void Parser::Expect(TokenType type)
{
    if (lexer->Next().type == type)
    {
        lexer->Consume();
        return;
    }
    // Whatever was expected; parsing goes on with what it has.
    error = Tr("End of equation not reached");
}

// --- entry points --------------------------------------------------------------------------

bool EvaluateEquation(const QString& equation, CplxVector& data, const VNAModel* model,
                      QString* message)
{
    Parser parser;
    const std::unique_ptr<Tree> tree = parser.Parse(equation.toStdString());
    if (!tree)
    {
        return false;
    }
    return tree->Evaluate(data, Context{model, message});
}

bool CheckEquation(const QString& equation, QString& error)
{
    Parser parser;
    const bool parsed = parser.Parse(equation.toStdString()) != nullptr;
    error = parser.Error();
    return parsed && error.isEmpty();
}
}  // namespace EquationTools
