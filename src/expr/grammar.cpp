// The grammar, as rules of PEGTL and the actions that hand each token to the builder.
//
// Every rule decides by its first token, and what must follow stands in Expect, which raises: so nothing
// is read twice, no action is ever taken back, and the work is linear in the text. Blanks and comments
// are skipped behind each token, so that a rule starts at its first one.
//
// Loosest first, a condition is made of
//
//   Or  And  Not  Comparison  Bits (&)  Sum (+ -)  Product (* /)  Unary (- ~)  Primary
#include "expr/grammar.h"

#include <tao/pegtl.hpp>

namespace OstraneCommon {
namespace {

namespace pegtl = tao::pegtl;
using pegtl::at;
using pegtl::eof;
using pegtl::identifier;
using pegtl::identifier_other;
using pegtl::not_at;
using pegtl::one;
using pegtl::opt;
using pegtl::plus;
using pegtl::seq;
using pegtl::sor;
using pegtl::star;
using pegtl::string;

// Building blocks ------------------------------------------------------------------------------------

// Blanks and comments, none included.
struct Skip {
    using rule_t = Skip;
    using subs_t = pegtl::empty_list;
    template <pegtl::apply_mode, pegtl::rewind_mode, template <typename...> class, template <typename...> class,
              typename Input>
    static bool match(Input& in, ParseBuilder& builder) {
        in.bump(static_cast<size_t>(builder.SkipBlank(in.current()) - in.current()));
        return true;
    }
};

template <Fault fault>
struct Raise {
    using rule_t = Raise;
    using subs_t = pegtl::empty_list;
    template <pegtl::apply_mode, pegtl::rewind_mode, template <typename...> class, template <typename...> class,
              typename Input>
    [[noreturn]] static bool match(Input& in, ParseBuilder& builder) {
        builder.Fail(fault, in.current());
    }
};

template <Fault fault, typename Rule>
struct Expect : sor<Rule, Raise<fault>> {};

// A word, in any case, that ends where a name would.
template <char... letters>
struct Word : seq<pegtl::istring<letters...>, not_at<identifier_other>> {};

struct KeyGet : Word<'g', 'e', 't'> {};
struct KeyTake : Word<'t', 'a', 'k', 'e'> {};
struct KeyPop : Word<'p', 'o', 'p'> {};
struct KeySet : Word<'s', 'e', 't'> {};
struct KeyPush : Word<'p', 'u', 's', 'h'> {};
struct KeyClear : Word<'c', 'l', 'e', 'a', 'r'> {};
struct KeyFrom : Word<'f', 'r', 'o', 'm'> {};
struct KeyWhere : Word<'w', 'h', 'e', 'r', 'e'> {};
struct KeyAnd : Word<'a', 'n', 'd'> {};
struct KeyOr : Word<'o', 'r'> {};
struct KeyNot : Word<'n', 'o', 't'> {};
struct KeyIn : Word<'i', 'n'> {};
struct KeyBetween : Word<'b', 'e', 't', 'w', 'e', 'e', 'n'> {};
struct KeyLike : Word<'l', 'i', 'k', 'e'> {};
struct KeyContains : Word<'c', 'o', 'n', 't', 'a', 'i', 'n', 's'> {};
struct KeyIs : Word<'i', 's'> {};
struct KeyNull : Word<'n', 'u', 'l', 'l'> {};
struct KeyTrue : Word<'t', 'r', 'u', 'e'> {};
struct KeyFalse : Word<'f', 'a', 'l', 's', 'e'> {};
struct KeyInf : Word<'i', 'n', 'f'> {};
struct KeyNan : Word<'n', 'a', 'n'> {};

// Literals -------------------------------------------------------------------------------------------

struct Hex : seq<one<'0'>, one<'x', 'X'>, Expect<Fault::HexDigits, plus<pegtl::xdigit>>> {};
struct Fraction : seq<one<'.'>, not_at<one<'.'>>, Expect<Fault::PointDigits, plus<pegtl::digit>>> {};
struct Exponent : seq<one<'e', 'E'>, opt<one<'+', '-'>>, Expect<Fault::ExponentDigits, plus<pegtl::digit>>> {};
struct Magnitude : sor<Hex, seq<plus<pegtl::digit>, opt<Fraction>, opt<Exponent>>> {};
struct NumberText : seq<opt<one<'-'>>, at<pegtl::digit>, Magnitude> {};
struct Number : seq<NumberText, Expect<Fault::NumberEnd, not_at<identifier_other>>> {};

template <char quote>
struct QuoteOpen : one<quote> {};
template <char quote>
struct Quoted : seq<QuoteOpen<quote>, star<sor<seq<one<'\\'>, pegtl::any>, pegtl::not_one<quote, '\\'>>>,
                    Expect<Fault::StringOpen, one<quote>>> {};
struct Text : sor<Quoted<'\''>, Quoted<'"'>> {};
struct TextValue : Text {};

struct BytesValue : seq<one<'x', 'X'>, at<one<'\'', '"'>>, Expect<Fault::BytesQuote, QuoteOpen<'\''>>,
                        star<pegtl::not_one<'\''>>, Expect<Fault::StringOpen, one<'\''>>> {};

struct TrueValue : KeyTrue {};
struct FalseValue : KeyFalse {};
struct NullValue : KeyNull {};
struct InfValue : KeyInf {};
struct NanValue : KeyNan {};
struct MinusInfValue : seq<one<'-'>, KeyInf> {};
struct MinusNanValue : seq<one<'-'>, KeyNan> {};
struct WordValue : sor<TrueValue, FalseValue, NullValue, InfValue, NanValue, MinusInfValue, MinusNanValue> {};

struct Parameter : sor<one<'?'>, seq<one<':'>, Expect<Fault::ParameterName, identifier>>> {};
struct ParameterValue : Parameter {};

// Subscripts -----------------------------------------------------------------------------------------

struct SubscriptOpen : one<'['> {};
struct SubscriptEnd : one<']'> {};
struct TrueKey : KeyTrue {};
struct FalseKey : KeyFalse {};
struct TextKey : Text {};
struct Key : seq<sor<TextKey, TrueKey, FalseKey>, Skip> {};

struct Index : seq<opt<one<'-'>>, plus<pegtl::digit>> {};
struct RangeParameter : Parameter {};
struct Bound : seq<sor<Index, RangeParameter>, Skip> {};
struct All : seq<one<'*'>, Skip> {};
struct DotsToken : string<'.', '.'> {};
struct Dots : seq<DotsToken, Skip> {};
struct Range : sor<seq<Bound, opt<Dots, opt<Bound>>>, seq<Dots, Expect<Fault::RangeEndMissing, Bound>>, All> {};
struct RangeItem : Range {};
struct Comma : seq<one<','>, Skip> {};
struct Ranges : seq<RangeItem, star<Comma, Expect<Fault::RangeMissing, RangeItem>>> {};
struct LoneBound : Bound {};

// Content decides what is allowed between the brackets: ranges in a statement's path, one index in an
// expression's name.
template <typename Content>
struct Subscript : seq<SubscriptOpen, Skip, Expect<Fault::SubscriptMissing, sor<Key, Content>>,
                       Expect<Fault::SubscriptClose, SubscriptEnd>, Skip> {};

// Names and paths ------------------------------------------------------------------------------------

struct StepName : identifier {};
struct QuoteMark : one<'`'> {};
struct QuotedName : seq<QuoteMark, Expect<Fault::QuotedName, StepName>, Expect<Fault::QuotedName, one<'`'>>> {};
struct FullName : pegtl::list<identifier, one<'.'>> {};
struct ExtensionOpen : one<'['> {};
struct Extension
    : seq<ExtensionOpen, Skip, Expect<Fault::ExtensionName, FullName>, Skip, Expect<Fault::ExtensionClose, one<']'>>> {
};
struct ExtensionStep : Extension {};
struct StepBehindDot : sor<StepName, QuotedName, ExtensionStep> {};
struct DottedStep : seq<one<'.'>, Skip, Expect<Fault::NameAfterDot, StepBehindDot>, Skip> {};

// A step takes one subscript at most.
template <typename Content>
struct Steps : seq<opt<Subscript<Content>>, star<DottedStep, opt<Subscript<Content>>>> {};

// A statement's path may start with a reserved word, and with an extension, with its dot or bare.
struct PathStart : at<sor<pegtl::identifier_first, one<'`', '['>, seq<one<'.'>, star<pegtl::space>, one<'['>>>> {};
struct FirstExtension : seq<opt<one<'.'>, Skip>, ExtensionStep> {};
struct Path : seq<PathStart, sor<StepName, QuotedName, FirstExtension>, Skip, Steps<Ranges>> {};

struct FreeName : identifier {};
struct RecordMark : string<'$', '$'> {};
struct ElementMark : one<'$'> {};
struct Rooted : seq<sor<RecordMark, ElementMark>, not_at<sor<identifier_other, one<'$'>>>, Skip, not_at<one<'['>>> {};
struct RootedName
    : seq<at<one<'$'>>, Expect<Fault::ElementAlone, Rooted>, star<DottedStep, opt<Subscript<LoneBound>>>> {};
struct QuotedStart : at<one<'`'>> {};
struct QuotedStartName : seq<QuotedStart, QuotedName, Skip, Steps<LoneBound>> {};
struct NameTail : Steps<LoneBound> {};
struct FreeNameOnly : seq<FreeName, Skip, NameTail> {};
struct Name : sor<RootedName, QuotedStartName, FreeNameOnly> {};

// Operands -------------------------------------------------------------------------------------------

struct Condition;
struct Value;

struct Operand : Expect<Fault::OperandMissing, Condition> {};
struct CallOpen : one<'('> {};
struct CallClose : one<')'> {};
struct Call : seq<CallOpen, Skip, Operand, star<Comma, Operand>, Expect<Fault::CallClose, CallClose>, Skip> {};
struct FinishedTail : NameTail {};
struct NameOrCall : seq<FreeName, Skip, sor<Call, FinishedTail>> {};
struct FinishedName : sor<RootedName, QuotedStartName> {};

struct GroupOpen : one<'('> {};
struct GroupClose : one<')'> {};
struct Group : seq<GroupOpen, Skip, Operand, Expect<Fault::GroupClose, GroupClose>, Skip> {};

struct Literal : seq<sor<Number, TextValue, WordValue, ParameterValue, BytesValue>, Skip> {};
struct Primary : sor<FinishedName, Literal, Group, NameOrCall> {};

// Operators ------------------------------------------------------------------------------------------

// An operator and its right operand; what is left of it waits on the builder's stack.
template <typename Operator, typename Right>
struct Binary : seq<Operator, Skip, Expect<Fault::OperandMissing, Right>> {};
template <typename Operator, typename Right>
struct Compare : seq<Operator, Skip, Expect<Fault::OperandMissing, Right>> {};
template <typename Operator, typename Right>
struct Prefix : seq<Operator, Skip, Expect<Fault::OperandMissing, Right>> {};
// A further operand of the same AND or OR.
template <typename Operator, typename Right>
struct Further : seq<Operator, Skip, Expect<Fault::OperandMissing, Right>> {};

struct Minus : one<'-'> {};
struct Tilde : one<'~'> {};
struct Unary : sor<Primary, Prefix<sor<Minus, Tilde>, Unary>> {};

struct Times : one<'*'> {};
struct Divide : one<'/'> {};
struct Product : seq<Unary, star<Binary<sor<Times, Divide>, Unary>>> {};

struct Add : one<'+'> {};
struct Subtract : one<'-'> {};
struct Sum : seq<Product, star<Binary<sor<Add, Subtract>, Product>>> {};

struct BitAnd : seq<one<'&'>, not_at<one<'&'>>> {};
struct Bits : seq<Sum, star<Binary<BitAnd, Sum>>> {};

struct Equal : sor<string<'=', '='>, one<'='>> {};
struct NotEqual : sor<string<'!', '='>, string<'<', '>'>> {};
struct LessEqual : string<'<', '='> {};
struct GreaterEqual : string<'>', '='> {};
struct Less : one<'<'> {};
struct Greater : one<'>'> {};
struct Symbol : sor<Equal, NotEqual, LessEqual, GreaterEqual, Less, Greater> {};

struct Like : KeyLike {};
struct NotLike : KeyLike {};
struct Contains : KeyContains {};
struct NotContains : KeyContains {};

struct BetweenWord : KeyBetween {};
struct BetweenRest : seq<BetweenWord, Skip, Expect<Fault::OperandMissing, Bits>, Expect<Fault::BetweenAnd, KeyAnd>,
                         Skip, Expect<Fault::OperandMissing, Bits>> {};
struct Between : BetweenRest {};
struct NotBetween : BetweenRest {};

struct InOpen : one<'('> {};
struct InListOpen : one<'['> {};
struct InParen : one<')'> {};
struct InBracket : one<']'> {};
struct InItems : seq<Expect<Fault::InEmpty, not_at<one<')', ']'>>>, Operand, star<Comma, Operand>> {};
struct InList : sor<seq<InOpen, Skip, InItems, Expect<Fault::GroupClose, InParen>>,
                    seq<InListOpen, Skip, InItems, Expect<Fault::ListClose, InBracket>>> {};
struct InName : Name {};
struct InRight : sor<seq<InList, Skip>, seq<ParameterValue, Skip>, InName> {};
struct In : KeyIn {};
struct NotIn : KeyIn {};
template <typename Operator>
struct InOperation : seq<Operator, Skip, Expect<Fault::InWhat, InRight>> {};

struct IsWord : KeyIs {};
struct IsNotNull : seq<KeyNot, Skip, Expect<Fault::IsWhat, KeyNull>> {};
struct IsNull : KeyNull {};
struct Is : seq<IsWord, Skip, Expect<Fault::IsWhat, sor<IsNotNull, IsNull>>, Skip> {};

struct Negated : seq<KeyNot, Skip,
                     Expect<Fault::NotWhat,
                            sor<InOperation<NotIn>, NotBetween, Compare<NotLike, Bits>, Compare<NotContains, Bits>>>> {
};
struct Comparison : seq<Bits, opt<sor<Compare<Symbol, Bits>, InOperation<In>, Is, Between, Compare<Like, Bits>,
                                      Compare<Contains, Bits>, Negated>>> {};

struct NotWord : sor<KeyNot, seq<one<'!'>, not_at<one<'='>>>> {};
struct Not : sor<Prefix<NotWord, Not>, Comparison> {};

struct AndWord : sor<KeyAnd, string<'&', '&'>> {};
struct AndFurther : sor<KeyAnd, string<'&', '&'>> {};
struct And : seq<Not, opt<Binary<AndWord, Not>, star<Further<AndFurther, Not>>>> {};

struct OrWord : sor<KeyOr, string<'|', '|'>> {};
struct OrFurther : sor<KeyOr, string<'|', '|'>> {};
struct Condition : seq<And, opt<Binary<OrWord, And>, star<Further<OrFurther, And>>>> {};

// Values ---------------------------------------------------------------------------------------------

struct Item : Expect<Fault::OperandMissing, Value> {};
struct ListOpen : one<'['> {};
struct ListClose : one<']'> {};
struct List
    : seq<ListOpen, Skip, sor<ListClose, seq<Item, star<Comma, Item>, Expect<Fault::ListClose, ListClose>>>, Skip> {};

struct KeyName : identifier {};
struct QuotedKey : seq<QuoteMark, Expect<Fault::QuotedName, KeyName>, Expect<Fault::QuotedName, one<'`'>>> {};
struct BoolKey : sor<TrueValue, FalseValue> {};
struct ValueKey : sor<Number, TextValue, BoolKey, ParameterValue> {};
struct ExtensionKey : Extension {};
struct AssignKey : seq<sor<ValueKey, QuotedKey, ExtensionKey, KeyName>, Skip> {};
struct Colon : seq<sor<one<':'>, seq<one<'='>, not_at<one<'='>>>>, Skip> {};
struct Assign : seq<Expect<Fault::KeyMissing, AssignKey>, Expect<Fault::ColonMissing, Colon>, Item> {};
struct LiteralOpen : one<'{'> {};
struct LiteralClose : one<'}'> {};
struct Message
    : seq<LiteralOpen, Skip,
          sor<LiteralClose, seq<Assign, star<Comma, Assign>, Expect<Fault::LiteralClose, LiteralClose>>>, Skip> {};

struct Value : sor<List, Message, Condition> {};

// Statements -----------------------------------------------------------------------------------------

struct TargetPath : Path {};
struct SourcePath : Path {};
struct Target : seq<Skip, Expect<Fault::PathMissing, TargetPath>> {};
struct FromWord : KeyFrom {};
struct From : seq<FromWord, Skip, Expect<Fault::SourceMissing, SourcePath>> {};
struct AssignedValue : Item {};
struct AssignValue : seq<one<'='>, not_at<one<'='>>, Skip, AssignedValue> {};
struct WhereWord : KeyWhere {};
struct Where : seq<WhereWord, Skip, Operand> {};

struct Select : seq<sor<KeyGet, KeyTake, KeyPop>, Target, opt<Where>> {};
struct Set : seq<KeySet, Target, Expect<Fault::AssignMissing, sor<seq<AssignValue, opt<Where>>, From>>> {};
struct Push : seq<KeyPush, Target, Expect<Fault::AssignMissing, sor<AssignValue, From>>> {};
struct Clear : seq<KeyClear, Target> {};
struct OneStatement : sor<Select, Set, Push, Clear> {};
struct ExpectStatement : Expect<Fault::StatementMissing, OneStatement> {};
struct Separator : seq<one<';'>, Skip> {};

struct StatementText
    : seq<Skip, ExpectStatement, star<Separator, sor<eof, ExpectStatement>>, Expect<Fault::EndMissing, eof>> {};
struct ExprText : seq<Skip, Item, Expect<Fault::EndMissing, eof>> {};
struct NameOnly : Name {};
struct NameText : seq<Skip, Expect<Fault::OperandMissing, NameOnly>, Expect<Fault::EndMissing, eof>> {};
struct RangeText : seq<Skip, Expect<Fault::SubscriptMissing, Ranges>, Expect<Fault::SubscriptClose, eof>> {};

// Actions --------------------------------------------------------------------------------------------

template <typename Rule>
struct Action : pegtl::nothing<Rule> {};

// ON_TOKEN: the rule's text from `begin` to `end`. ON_DONE: its parts are read.
#define ON_TOKEN(Rule, ...)                                            \
    template <>                                                        \
    struct Action<Rule> {                                              \
        template <typename Token>                                      \
        static void apply(const Token& token, ParseBuilder& builder) { \
            [[maybe_unused]] const char* const begin = token.begin();  \
            [[maybe_unused]] const char* const end = token.end();      \
            __VA_ARGS__;                                               \
        }                                                              \
    }
#define ON_DONE(Rule, ...)                                         \
    template <>                                                    \
    struct Action<Rule> {                                          \
        static void apply0(ParseBuilder& builder) { __VA_ARGS__; } \
    }

ON_TOKEN(NumberText, builder.PushNumber(begin, end));
ON_TOKEN(TextValue, builder.PushString(begin, end));
ON_TOKEN(BytesValue, builder.PushBytes(begin, end));
ON_TOKEN(TrueValue, builder.PushWord(EXPR_UINT, begin, 1, EXPR_FLAG_BOOL));
ON_TOKEN(FalseValue, builder.PushWord(EXPR_UINT, begin, 0, EXPR_FLAG_BOOL));
ON_TOKEN(NullValue, builder.PushWord(EXPR_NULL, begin, 0, 0));
ON_TOKEN(InfValue, builder.PushNumber(begin, end));
ON_TOKEN(NanValue, builder.PushNumber(begin, end));
ON_TOKEN(MinusInfValue, builder.PushNumber(begin, end));
ON_TOKEN(MinusNanValue, builder.PushNumber(begin, end));
ON_TOKEN(ParameterValue, builder.PushParameter(begin, end));
ON_TOKEN(QuoteOpen<'\''>, builder.MarkQuote(begin));
ON_TOKEN(QuoteOpen<'"'>, builder.MarkQuote(begin));

ON_TOKEN(SubscriptOpen, builder.BeginSubscript(begin));
ON_TOKEN(TextKey, builder.PushString(begin, end); builder.SetKey());
ON_TOKEN(TrueKey, builder.PushWord(EXPR_UINT, begin, 1, EXPR_FLAG_BOOL); builder.SetKey());
ON_TOKEN(FalseKey, builder.PushWord(EXPR_UINT, begin, 0, EXPR_FLAG_BOOL); builder.SetKey());
ON_TOKEN(Index, builder.AddIndex(begin, end));
ON_TOKEN(RangeParameter, builder.AddRangeParameter(begin, end));
ON_TOKEN(DotsToken, builder.AddDots(begin));
ON_DONE(All, builder.AddStar());
ON_DONE(RangeItem, builder.EndRange());
ON_DONE(LoneBound, builder.EndRange());
ON_DONE(SubscriptEnd, builder.FinishSubscript());

ON_TOKEN(StepName, builder.AddStep(begin, end));
ON_TOKEN(QuoteMark, builder.MarkQuote(begin));
ON_TOKEN(ExtensionOpen, builder.BeginExtension(begin));
ON_TOKEN(FullName, builder.SetExtension(begin, end));
ON_DONE(ExtensionStep, builder.AddExtensionStep());
ON_TOKEN(PathStart, builder.BeginPath(begin));
ON_TOKEN(RecordMark, builder.BeginName(NameRoot::Record, begin));
ON_TOKEN(ElementMark, builder.BeginName(NameRoot::Element, begin));
ON_TOKEN(QuotedStart, builder.BeginName(NameRoot::Bare, begin));
ON_DONE(FinishedTail, builder.FinishName());
ON_DONE(FinishedName, builder.FinishName());
ON_DONE(InName, builder.FinishName());
// A reserved word is no name here: the action's refusal takes the rule back.
template <>
struct Action<FreeName> {
    template <typename Token>
    static bool apply(const Token& token, ParseBuilder& builder) {
        if (ParseBuilder::IsReserved(token.begin(), token.end())) {
            return false;
        }
        builder.BeginName(NameRoot::Bare, token.begin());
        builder.AddStep(token.begin(), token.end());
        return true;
    }
};

ON_TOKEN(GroupOpen, builder.EnterBracket(begin));
ON_DONE(GroupClose, builder.LeaveBracket());
ON_TOKEN(CallOpen, builder.OpenCall(begin));
ON_DONE(CallClose, builder.CloseCall());
ON_TOKEN(InOpen, builder.OpenList(EXPR_VALUE_LIST, begin));
ON_TOKEN(InListOpen, builder.OpenList(EXPR_VALUE_LIST, begin));
ON_DONE(InParen, builder.CloseList());
ON_DONE(InBracket, builder.CloseList());
ON_TOKEN(ListOpen, builder.OpenList(EXPR_VALUE_LIST, begin));
ON_DONE(ListClose, builder.CloseList());
ON_TOKEN(LiteralOpen, builder.OpenList(EXPR_ASSIGN_LIST, begin));
ON_DONE(LiteralClose, builder.CloseList());
ON_TOKEN(KeyName, builder.OpenKeyName(begin, end));
ON_DONE(ExtensionKey, builder.OpenKeyExtension());
ON_DONE(ValueKey, builder.OpenKeyLiteral());
ON_DONE(Assign, builder.CloseAssign());

ON_TOKEN(Minus, builder.OpenPrefix(EXPR_OP_SUB, begin));
ON_TOKEN(Tilde, builder.OpenPrefix(EXPR_BITWISE_NOT, begin));
ON_TOKEN(NotWord, builder.OpenPrefix(EXPR_NOT, begin));
ON_TOKEN(Times, builder.OpenOperator(EXPR_OP_MULT, begin));
ON_TOKEN(Divide, builder.OpenOperator(EXPR_OP_DIV, begin));
ON_TOKEN(Add, builder.OpenOperator(EXPR_OP_ADD, begin));
ON_TOKEN(Subtract, builder.OpenOperator(EXPR_OP_SUB, begin));
ON_TOKEN(BitAnd, builder.OpenOperator(EXPR_BITWISE_AND, begin));
ON_TOKEN(Equal, builder.OpenOperator(EXPR_COMPARE_EQ, begin));
ON_TOKEN(NotEqual, builder.OpenOperator(EXPR_COMPARE_NE, begin));
ON_TOKEN(LessEqual, builder.OpenOperator(EXPR_COMPARE_LE, begin));
ON_TOKEN(GreaterEqual, builder.OpenOperator(EXPR_COMPARE_GE, begin));
ON_TOKEN(Less, builder.OpenOperator(EXPR_COMPARE_LT, begin));
ON_TOKEN(Greater, builder.OpenOperator(EXPR_COMPARE_GT, begin));
ON_TOKEN(Like, builder.OpenOperator(EXPR_LIKE, begin));
ON_TOKEN(NotLike, builder.OpenOperator(EXPR_NOT_LIKE, begin));
ON_TOKEN(Contains, builder.OpenOperator(EXPR_CONTAINS, begin));
ON_TOKEN(NotContains, builder.OpenOperator(EXPR_NOT_CONTAINS, begin));
ON_TOKEN(BetweenWord, builder.OpenOperator(EXPR_BETWEEN, begin));
ON_TOKEN(In, builder.OpenOperator(EXPR_IN, begin));
ON_TOKEN(NotIn, builder.OpenOperator(EXPR_NOT_IN, begin));
ON_TOKEN(IsWord, builder.OpenOperator(EXPR_COMPARE_EQ, begin));
ON_TOKEN(AndWord, builder.OpenOperator(EXPR_AND, begin));
ON_TOKEN(OrWord, builder.OpenOperator(EXPR_OR, begin));
ON_DONE(Between, builder.CloseBetween(false));
ON_DONE(NotBetween, builder.CloseBetween(true));
ON_DONE(IsNull, builder.CloseIs(false));
ON_DONE(IsNotNull, builder.CloseIs(true));
template <typename Operator, typename Right>
struct Action<Binary<Operator, Right>> {
    static void apply0(ParseBuilder& builder) { builder.CloseBinary(); }
};
template <typename Operator, typename Right>
struct Action<Compare<Operator, Right>> {
    static void apply0(ParseBuilder& builder) { builder.CloseComparison(); }
};
template <typename Operator, typename Right>
struct Action<Prefix<Operator, Right>> {
    static void apply0(ParseBuilder& builder) { builder.ClosePrefix(); }
};
template <typename Operator, typename Right>
struct Action<Further<Operator, Right>> {
    static void apply0(ParseBuilder& builder) { builder.AppendOperand(); }
};
template <typename Operator>
struct Action<InOperation<Operator>> {
    static void apply0(ParseBuilder& builder) { builder.CloseBinary(); }
};

ON_TOKEN(KeyGet, builder.BeginStatement(StatementKind::Get, begin));
ON_TOKEN(KeyTake, builder.BeginStatement(StatementKind::Take, begin));
ON_TOKEN(KeyPop, builder.BeginStatement(StatementKind::Pop, begin));
ON_TOKEN(KeySet, builder.BeginStatement(StatementKind::Set, begin));
ON_TOKEN(KeyPush, builder.BeginStatement(StatementKind::Push, begin));
ON_TOKEN(KeyClear, builder.BeginStatement(StatementKind::Clear, begin));
ON_DONE(TargetPath, builder.FinishPath());
ON_DONE(SourcePath, builder.FinishPath());
ON_DONE(FromWord, builder.BeginSource());
ON_DONE(AssignedValue, builder.SetValue());
ON_DONE(WhereWord, builder.BeginWhere());
ON_DONE(Where, builder.SetWhere());
ON_DONE(OneStatement, builder.FinishStatement());

#undef ON_TOKEN
#undef ON_DONE

template <typename Rule>
void Read(ParseBuilder& builder) {
    pegtl::memory_input<pegtl::tracking_mode::lazy, pegtl::eol::lf, const char*> in(builder.Begin(), builder.End(), "");
    if (!pegtl::parse<Rule, Action>(in, builder)) {
        builder.Fail(Fault::EndMissing, in.current());
    }
}

}  // namespace

void ReadStatements(ParseBuilder& builder) {
    Read<StatementText>(builder);
}

void ReadExpr(ParseBuilder& builder) {
    Read<ExprText>(builder);
}

void ReadName(ParseBuilder& builder) {
    Read<NameText>(builder);
}

void ReadRanges(ParseBuilder& builder) {
    Read<RangeText>(builder);
}

}  // namespace OstraneCommon
