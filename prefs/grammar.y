/* Grammar of preference definition text (documented in docs/preferences.md). Pure parser;
 * every recognised clause is handed to the client's function through ParseContext::Emit. */
%define api.pure full
%define api.prefix {olex_yy}
%define api.token.prefix {TOK_}
%define parse.error detailed
%locations
%param {void *scanner}
%parse-param {orvik::prefs::ParseContext *ctx}

%code requires {
#include "prefs/parse_context.hpp"
}

%code provides {
int olex_yylex(OLEX_YYSTYPE *value, OLEX_YYLTYPE *location, void *scanner);
void olex_yyerror(OLEX_YYLTYPE *location, void *scanner, orvik::prefs::ParseContext *ctx,
                  const char *message);
}

%union {
    double number;
    int text;
    int type;
}

%token PC "pc" UNIX "unix" HIDEON "hideon" SHOWON "showon" TYPEDEF "typedef"
%token READONLY "readonly" ENVEXPAND "expand" NOCHECK "nocheck" NEWFILE "newfile"
%token MULTILINE "multiline" MAXLENGTH "maxlength" FILENAME "filename" OPMG_MAX "max"
%token OPMG_MIN "min" ENUMS "enums" DIRECTORY "directory" DEFAULT "default"
%token BOOLEAN "boolean" PDF "pdf"
%token OPMG_STRING "OPMG_STRING" OPMG_NUMBER "OPMG_NUMBER" OPMG_COLOR "OPMG_COLOR"
%token <number> NUMBER "number"
%token <text> NAME "name" STRING "string"
%type <type> type
%type <text> name_or_string

%{
#define EMIT(...) do { if (!ctx->Emit(__VA_ARGS__)) YYABORT; } while (0)
#define PROGRESS(text) (ctx->progress = L##text)
%}

%%

file
    : %empty
    | file statement
    ;

statement
    : PDF STRING ';'                 { EMIT(OLEX_PDF, @1.first_line, @1.first_column, ctx->Text($2)); }
    | category
    ;

category
    : NAME '{'                       { EMIT(OLEX_CATEGORY_BEGIN, @1.first_line, @1.first_column, ctx->Text($1)); }
      parameters '}'                 { EMIT(OLEX_CATEGORY_END, @5.first_line, @5.first_column); }
    ;

parameters
    : %empty
    | parameters parameter
    ;

parameter
    : NAME ':'                       { PROGRESS("Parsing a parameter"); }
      type                           { EMIT(OLEX_PARAMETER, @1.first_line, @1.first_column, ctx->Text($1), $4); }
      clauses ';'                    { EMIT(OLEX_PARAMETER_END, @7.first_line, @7.first_column); }
    ;

type
    : OPMG_STRING                    { $$ = 0; }
    | OPMG_NUMBER                    { $$ = 1; }
    | OPMG_COLOR                     { $$ = 4; }
    ;

clauses
    : %empty
    | clauses clause
    ;

clause
    : READONLY                       { EMIT(OLEX_READONLY, @1.first_line, @1.first_column); }
    | NOCHECK                        { EMIT(OLEX_NOCHECK, @1.first_line, @1.first_column); }
    | NEWFILE                        { EMIT(OLEX_NEWFILE, @1.first_line, @1.first_column); }
    | FILENAME                       { EMIT(OLEX_FILENAME, @1.first_line, @1.first_column); }
    | DIRECTORY                      { EMIT(OLEX_DIRECTORY, @1.first_line, @1.first_column); }
    | BOOLEAN                        { EMIT(OLEX_BOOLEAN, @1.first_line, @1.first_column); }
    | ENVEXPAND                      { EMIT(OLEX_ENVEXPAND, @1.first_line, @1.first_column); }
    | MULTILINE                      { PROGRESS("Parsing a multiline attribute clause");
                                       EMIT(OLEX_MULTILINE, @1.first_line, @1.first_column); }
    | MAXLENGTH                      { PROGRESS("Parsing a maximum string length restriction clause"); }
      NUMBER                         { ctx->numbers[0] = $3; ctx->count = 1;
                                       EMIT(OLEX_MAXLENGTH, @1.first_line, @1.first_column); }
    | OPMG_MIN                       { PROGRESS("Parsing a minimum value restriction clause"); }
      NUMBER                         { ctx->numbers[0] = $3; ctx->count = 1;
                                       EMIT(OLEX_MINIMUM, @1.first_line, @1.first_column); }
    | OPMG_MAX                       { PROGRESS("Parsing a maximum value restriction clause"); }
      NUMBER                         { ctx->numbers[0] = $3; ctx->count = 1;
                                       EMIT(OLEX_MAXIMUM, @1.first_line, @1.first_column); }
    | ENUMS                          { PROGRESS("Parsing an enum parameter list"); ctx->list.clear(); }
      '{' names '}'                  { EMIT(OLEX_ENUMS, @1.first_line, @1.first_column); }
    | TYPEDEF                        { PROGRESS("Parsing a typedef attribute clause"); }
      name_or_string                 { EMIT(OLEX_TYPEDEF, @1.first_line, @1.first_column, ctx->Text($3)); }
    | HIDEON                         { ctx->list.clear(); }
      '{' strings '}'                { EMIT(OLEX_HIDEON, @1.first_line, @1.first_column); }
    | SHOWON                         { ctx->list.clear(); }
      '{' strings '}'                { EMIT(OLEX_SHOWON, @1.first_line, @1.first_column); }
    | DEFAULT                        { ctx->platform = OLEX_PLATFORM_ANY; }
      default_value
    | DEFAULT platform_defaults
    ;

name_or_string
    : NAME
    | STRING
    ;

names
    : name_or_string                 { PROGRESS("Name in list"); ctx->list.push_back(ctx->Text($1)); }
    | names ',' name_or_string       { PROGRESS("Name in list"); ctx->list.push_back(ctx->Text($3)); }
    ;

strings
    : STRING                         { PROGRESS("String in list"); ctx->list.push_back(ctx->Text($1)); }
    | strings ',' STRING             { PROGRESS("String in list"); ctx->list.push_back(ctx->Text($3)); }
    ;

platform_defaults
    : platform_default
    | platform_defaults platform_default
    ;

platform_default
    : PC                             { PROGRESS("PC string"); ctx->platform = OLEX_PLATFORM_PC; }
      default_value
    | UNIX                           { PROGRESS("UNIX string"); ctx->platform = OLEX_PLATFORM_UNIX; }
      default_value
    ;

default_value
    : STRING                         { PROGRESS("Parsing conditional string default value");
                                       EMIT(OLEX_DEFAULT_STRING, @1.first_line, @1.first_column, ctx->Text($1)); }
    | ENVEXPAND STRING               { PROGRESS("Parsing conditional envexpand string default value");
                                       EMIT(OLEX_DEFAULT_EXPANDED, @1.first_line, @1.first_column, ctx->Text($2)); }
    | NUMBER                         { PROGRESS("Parsing conditional numeric default value");
                                       ctx->numbers[0] = $1; ctx->count = 1;
                                       EMIT(OLEX_DEFAULT_NUMBER, @1.first_line, @1.first_column); }
    | NUMBER ',' NUMBER ',' NUMBER   { PROGRESS("Parsing conditional RGB color default value");
                                       ctx->numbers[0] = $1; ctx->numbers[1] = $3; ctx->numbers[2] = $5;
                                       ctx->count = 3;
                                       EMIT(OLEX_DEFAULT_COLOR, @1.first_line, @1.first_column); }
    | NUMBER ',' NUMBER ',' NUMBER ',' NUMBER
                                     { PROGRESS("Parsing conditional RGB color default value");
                                       ctx->numbers[0] = $1; ctx->numbers[1] = $3; ctx->numbers[2] = $5;
                                       ctx->numbers[3] = $7; ctx->count = 4;
                                       EMIT(OLEX_DEFAULT_COLOR, @1.first_line, @1.first_column); }
    ;

%%

void olex_yyerror(OLEX_YYLTYPE *location, void *, orvik::prefs::ParseContext *ctx,
                  const char *message) {
    ctx->Report(location->first_line, location->first_column, message);
}
