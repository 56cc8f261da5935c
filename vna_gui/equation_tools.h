// The equation language of traces: a lexer, a precedence-climbing parser and a tree of nodes
// that evaluates whole vectors, reading other traces, their memories and S-parameters from the
// model. Widget-free; the editor dialog lives in equation_editor.
#pragma once

#include <QString>
#include <complex>
#include <memory>
#include <string>

#include "network_parameters.h"

class VNAModel;

namespace EquationTools
{
using cplx = std::complex<double>;

enum class TokenType : int
{
    Number = 0,
    Trace = 1,
    Operator = 2,  // also function names and unknown identifiers: the parser decides
    LParen = 3,
    RParen = 4,
    Eof = 5,
    Error = 6  // its text is the message
};
QString ToString(TokenType type);

struct Token
{
    TokenType type = TokenType::Eof;
    QString text;
    double value = 0.0;  // numbers only
};

// "s11", "S21" and so on, in any case.
bool TextToMeas(const QString& text, VNATraceMeas& meas);

// Where operands come from and where the status text of a failure goes. The caller holds the
// model's trace lock for as long as an evaluation runs.
struct Context
{
    const VNAModel* model = nullptr;
    // Receives "Eqn Error: " and the reason when an evaluation fails; may be null.
    QString* message = nullptr;
};

// Operands. Each hands back a shared empty vector, sets ok false and reports through
// Tree::Error on failure.
const CplxVector& GetParameter(VNATraceMeas meas, const Context& context, bool& ok);
const CplxVector& GetTrace(const QString& text, const Context& context, bool& ok);
const CplxVector& GetTraceMem(const QString& text, const Context& context, bool& ok);
const CplxVector& GetInnerTrace(const QString& text, const Context& context, bool& ok);

class Tree
{
public:
    explicit Tree(const Token& token) : token(token) {}
    virtual ~Tree() = default;
    Tree(const Tree&) = delete;
    Tree& operator=(const Tree&) = delete;

    // Writes the value at every point into out, whose size is the trace's point count. On
    // failure the reason goes to the context and out holds what the evaluation left in it.
    bool Evaluate(CplxVector& out, const Context& context) const;
    virtual int Precedence() const { return 0; }
    const Token& GetToken() const { return token; }
    // Levels of nodes from here down, this one included.
    int Depth() const { return depth; }

    static void Error(const QString& text, const Context& context);

    // --- the evaluation engine -------------------------------------------------------------
    // A node computes points [lo, lo + len) into buffers[level] and returns where its result
    // is, or null on failure. In a whole pass (exact) operands are resolved and copied as they
    // are met and failures reported; a chunked pass works on operands bound beforehand and
    // keeps silent, so a failure there is repeated whole to learn what happened.
    struct Frame
    {
        cplx* const* buffers;
        const Context* context;
        bool exact;
    };
    virtual const cplx* Compute(const Frame& frame, int level, int lo, int len) const = 0;
    // Resolves the operands for a chunked pass over n points; false (silently) if one fails.
    virtual bool Bind(const Context& context, int n) const = 0;
    // Buffers a pass needs: a right or unary operand works one level below its parent.
    virtual int Height() const = 0;

protected:
    Token token;
    int depth = 1;

private:
    bool EvaluateWhole(CplxVector& out, const Context& context) const;
};

// A number or an operand vector.
class Terminal : public Tree
{
public:
    explicit Terminal(const Token& token) : Tree(token) {}
    const cplx* Compute(const Frame& frame, int level, int lo, int len) const override;
    bool Bind(const Context& context, int n) const override;
    int Height() const override { return 1; }

private:
    const CplxVector* Resolve(const Context& context, int n) const;
    // What a chunked pass reads: the operand's vector, or one chunk of a number, filled once.
    mutable const CplxVector* bound = nullptr;
    mutable CplxVector constant;
};

// Unary minus or a function.
class UnaryOperator : public Tree
{
public:
    explicit UnaryOperator(const Token& token);
    void SetOp(std::unique_ptr<Tree> operand);
    int Precedence() const override { return 2; }
    const cplx* Compute(const Frame& frame, int level, int lo, int len) const override;
    bool Bind(const Context& context, int n) const override;
    int Height() const override;

private:
    int function;
    std::unique_ptr<Tree> op;
};

class BinaryOperator : public Tree
{
public:
    enum Assoc
    {
        Left,
        Right
    };
    explicit BinaryOperator(const Token& token) : Tree(token) {}
    void SetOps(std::unique_ptr<Tree> left, std::unique_ptr<Tree> right);
    int Precedence() const override;
    Assoc Associativity() const;
    const cplx* Compute(const Frame& frame, int level, int lo, int len) const override;
    bool Bind(const Context& context, int n) const override;
    int Height() const override;

private:
    std::unique_ptr<Tree> lhs, rhs;
};

class Lexer
{
public:
    // White space (the blank and codes 9 to 13) is dropped everywhere first.
    explicit Lexer(const std::string& equation);
    // The token at the position, without moving.
    const Token& Next() const { return current; }
    // The token at the position; the position moves past its text.
    Token Consume();

private:
    char GetChar(int i) const;
    Token GetToken() const;
    Token GetNumber() const;
    Token GetIdentifier() const;

    std::string text;
    int position = 0;
    Token current;
};

class Parser
{
public:
    // The tree, or null. A tree may come with an error text: the input had more to it than the
    // tree took in, and only the editor treats that as a fault.
    std::unique_ptr<Tree> Parse(const std::string& equation);
    const QString& Error() const { return error; }

    static bool IsBinary(const Token& token);
    static bool IsUnary(const Token& token);
    static bool IsFunction(const Token& token);
    static bool IsTerminal(const Token& token);
    // 1 for + -, 3 for * /, 4 for ^, -1 for anything else.
    static int Precedence(const Token& token);
    static bool IsRightAssociative(const Token& token);

private:
    std::unique_ptr<Tree> Exp(int p);
    std::unique_ptr<Tree> P();
    void Expect(TokenType type);
    // False, with the error set, once the input nests deeper than the engine's recursion allows.
    bool WithinNesting(int levels);

    QString error;
    std::unique_ptr<Lexer> lexer;
    int nesting = 0;
};

// Parses and evaluates over data, which gives the point count and receives the result. data
// must not be one of the vectors the equation reads. False on any failure.
bool EvaluateEquation(const QString& equation, CplxVector& data, const VNAModel* model,
                      QString* message = nullptr);

// Parse check as the editor shows it: true when a tree came out with no error text. error
// receives the parser's text.
bool CheckEquation(const QString& equation, QString& error);
}  // namespace EquationTools
