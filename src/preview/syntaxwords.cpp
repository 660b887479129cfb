#include "preview/syntaxrules.h"

// Every language that is not C-like: the common words of each, not every one.

namespace {

using enum SyntaxFamily;
using D = Dialect;
using namespace SyntaxFeature;

constexpr const char* pythonKeywords
    = "and as assert async await break case class continue def del elif else "
      "except finally for from global if import in is lambda match nonlocal "
      "not or pass raise return try while with yield None True False";
constexpr const char* pythonTypes
    = "bool bytes complex dict float frozenset int list object set str tuple type";
constexpr const char* shellKeywords
    = "alias break case continue declare do done elif else esac eval exec exit "
      "export fi for function if in local readonly return select set shift "
      "source then time trap typeset unset until while";
constexpr const char* rubyKeywords
    = "BEGIN END alias and attr_accessor attr_reader attr_writer begin break case class def defined? do else "
      "elsif end ensure extend false for if in include lambda module next nil not or private proc protected "
      "public raise redo require require_relative rescue retry return self super then true undef unless "
      "until when while yield";
constexpr const char* perlKeywords
    = "BEGIN END and cmp defined die do else elsif eq for foreach ge gt if last "
      "le local lt my ne next no not or our package pop print push redo require "
      "return say shift sub undef unless until use wantarray warn while";
constexpr const char* cmakeKeywords
    = "if elseif else endif foreach endforeach while endwhile function endfunction macro endmacro block "
      "endblock return break continue";
constexpr const char* cmakeTypes
    = "and or not on off true false strequal equal matches defined exists target "
      "public private interface required components status warning fatal_error "
      "cache parent_scope";
constexpr const char* makeKeywords = "define else endef endif export ifdef ifeq ifndef ifneq include "
                                     "override private sinclude undefine unexport vpath";
constexpr const char* rKeywords = "break else FALSE for function if in Inf library NA NaN next NULL repeat "
                                  "require return TRUE while";
constexpr const char* juliaKeywords
    = "abstract baremodule begin break catch const continue do else elseif end "
      "export false finally for function global if import in isa let local "
      "macro missing module mutable nothing primitive quote return struct "
      "true try type using where while";
constexpr const char* nixKeywords
    = "assert builtins else false if import in inherit let null or rec then true "
      "with";
constexpr const char* elixirKeywords
    = "after alias and case catch cond def defdelegate defexception defguard defimpl defmacro defmodule defp "
      "defprotocol defstruct do else end false fn for if import in nil not or quote raise receive require "
      "rescue true try unless unquote use when with";
constexpr const char* tclKeywords
    = "after append array break catch continue else elseif error eval expr for "
      "foreach format global if incr info lappend lindex list llength namespace "
      "proc puts regexp regsub rename return set source split string switch "
      "unset uplevel upvar variable while";
constexpr const char* powershellKeywords
    = "begin break catch class continue data do dynamicparam else elseif end enum exit filter finally for "
      "foreach function if in param process return switch throw trap try until using while -eq -ne -gt -ge "
      "-lt -le -like -notlike -match -notmatch -contains -notcontains -in -notin -and -or -not -xor -is "
      "-isnot -replace -split -join";
constexpr const char* terraformKeywords
    = "count data depends_on dynamic each false for for_each if in lifecycle "
      "locals module null output provider resource terraform true variable";
constexpr const char* terraformTypes = "any bool list map number object set string tuple";
constexpr const char* graphqlKeywords
    = "directive enum extend false fragment implements input interface mutation "
      "null on query repeatable scalar schema subscription true type union";
constexpr const char* dockerKeywords
    = "add arg cmd copy entrypoint env expose from healthcheck label maintainer "
      "onbuild run shell stopsignal user volume workdir";
constexpr const char* sqlKeywords
    = "add all alter and any as asc begin between by case cast check column commit constraint create cross "
      "database default delete desc distinct drop else end exists false foreign from full function group "
      "having if in index inner insert into is join key left like limit not null offset on or order outer "
      "primary procedure references replace returning right rollback select set table then to transaction "
      "trigger true truncate union unique update using values view when where with";
constexpr const char* sqlTypes
    = "bigint blob boolean char date decimal double float int integer interval json "
      "jsonb numeric real serial smallint text time timestamp uuid varchar";
constexpr const char* luaKeywords
    = "and break do else elseif end false for function goto if in local nil not "
      "or repeat return self then true until while";
constexpr const char* haskellKeywords
    = "as case class data default deriving do else family forall foreign "
      "hiding if import in infix infixl infixr instance let module newtype of "
      "qualified then type where";
constexpr const char* vhdlKeywords
    = "abs access after alias all and architecture array assert attribute begin block body buffer bus case "
      "component configuration constant downto else elsif end entity exit false file for function generate "
      "generic group guarded if impure in inertial inout is label library linkage literal loop map mod nand "
      "new next nor not null of on open or others out package port postponed procedure process pure range "
      "record register reject rem report return rol ror select severity shared signal sla sll sra srl "
      "subtype then to transport true type unaffected units until use variable wait when while with xnor xor";
constexpr const char* vhdlTypes
    = "bit bit_vector boolean character integer natural positive real signed "
      "std_logic std_logic_vector std_ulogic std_ulogic_vector string time unsigned";
constexpr const char* erlangKeywords
    = "after and andalso band begin bnot bor bsl bsr bxor case catch cond div "
      "end fun if let not of or orelse receive rem try when xor";
constexpr const char* ocamlKeywords
    = "and as assert begin class constraint do done downto else end exception external false for fun "
      "function "
      "functor if in include inherit initializer lazy let match method module mutable new nonrec object of "
      "open or private rec sig struct then to true try type val virtual when while with";
constexpr const char* clojureKeywords
    = "and case catch cond def defmacro defn defn- defprotocol defrecord "
      "deftype do false finally fn if if-not import let letfn loop nil not ns "
      "or quote recur require throw true try var when when-not";
constexpr const char* fortranKeywords
    = "allocate call case contains deallocate do else elseif end enddo endif function if implicit in inout "
      "intent interface module none out parameter print program read return select stop subroutine then type "
      "use while write";
constexpr const char* fortranTypes = "character complex double integer logical precision real";
constexpr const char* batchKeywords
    = "call cd defined do echo else endlocal errorlevel exist exit for goto if "
      "in not pause popd pushd set setlocal shift start";

constexpr SyntaxRow rows[] = {
    { "Python", hash, D::python,
        tripleQuotes | tripleSingleQuotes | quoteStrings | annotations | capitalisedTypes, pythonKeywords,
        pythonTypes },
    { "Shell", hash, D::shell, quoteStrings | multiLineStrings | variables, shellKeywords, "" },
    { "Ruby", hash, D::ruby, quoteStrings | multiLineStrings | variables | capitalisedTypes, rubyKeywords,
        "" },
    { "Perl", hash, D::perl, quoteStrings | multiLineStrings | variables, perlKeywords, "" },
    { "CMake", hash, D::cmake, multiLineStrings | variables, cmakeKeywords, cmakeTypes, true },
    { "Make", hash, D::make, quoteStrings | variables, makeKeywords, "" },
    { "R", hash, D::none, quoteStrings | multiLineStrings, rKeywords, "" },
    { "Julia", hash, D::julia, tripleQuotes | multiLineStrings | annotations | capitalisedTypes,
        juliaKeywords, "" },
    { "Nix", hash, D::nix, multiLineStrings, nixKeywords, "" },
    { "Elixir", hash, D::elixir,
        quoteStrings | multiLineStrings | tripleQuotes | tripleSingleQuotes | annotations | capitalisedTypes,
        elixirKeywords, "" },
    { "Tcl", hash, D::tcl, multiLineStrings | variables, tclKeywords, "" },
    { "PowerShell", hash, D::powershell, quoteStrings | multiLineStrings | variables, powershellKeywords, "",
        true },
    { "Terraform", hash, D::terraform, slashComments, terraformKeywords, terraformTypes },
    { "GraphQL", hash, D::none, tripleQuotes | variables | annotations | capitalisedTypes, graphqlKeywords,
        "" },
    { "Docker", hash, D::docker, quoteStrings | variables, dockerKeywords, "", true },
    { "Gettext", hash, D::none, 0, "msgctxt msgid msgid_plural msgstr", "" },
    { "YAML", config, D::yaml, 0, "true false null yes no on off ~", "", true },
    { "TOML", config, D::toml, 0, "true false inf nan", "" },
    { "JSON", json, D::none, 0, "true false null", "" },
    { "SQL", dashes, D::sql, 0, sqlKeywords, sqlTypes, true },
    { "Lua", dashes, D::lua, 0, luaKeywords, "" },
    { "Haskell", dashes, D::haskell, capitalisedTypes, haskellKeywords, "" },
    { "VHDL", dashes, D::vhdl, 0, vhdlKeywords, vhdlTypes, true },
    { "HTML", markup, D::html, 0, "", "" },
    { "Vue", markup, D::html, 0, "", "" },
    { "Svelte", markup, D::html, 0, "", "" },
    { "XML", markup, D::none, 0, "", "" },
    { "CSS", css, D::none, 0, "", "" },
    { "Markdown", markdown, D::none, 0, "", "" },
    { "Diff", diff, D::none, 0, "", "" },
    { "Assembly", lineComment, D::assembly, 0, "", "" },
    { "Erlang", lineComment, D::erlang, 0, erlangKeywords, "" },
    { "OCaml", lineComment, D::ocaml, 0, ocamlKeywords, "" },
    { "Clojure", lineComment, D::clojure, 0, clojureKeywords, "" },
    { "Fortran", lineComment, D::fortran, 0, fortranKeywords, fortranTypes, true },
    { "Batch", lineComment, D::batch, 0, batchKeywords, "", true },
};

} // namespace

std::span<const SyntaxRow> otherRows()
{
    return rows;
}
