// Parses one statement as often as told, for an instruction count: the difference of two counts is free of
// what starting the program costs.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "expr/statement.h"

int main(int argc, char** argv) {
    const std::string text = "POP scores[0..2, 7] WHERE $ > 10 AND $ < 20";
    const int times = argc > 1 ? std::atoi(argv[1]) : 1;
    for (int i = 0; i < times; ++i) {
        OstraneCommon::ExprParseContext context;
        OstraneCommon::StatementList list;
        OstraneCommon::ExprError error;
        if (OstraneCommon::ParseStatements(text, context, list, error) != 0 || list.statements.size() != 1) {
            std::fprintf(stderr, "%s\n", error.message.c_str());
            return 1;
        }
    }
    return 0;
}
