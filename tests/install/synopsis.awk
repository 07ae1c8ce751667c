# Turns the synopsis of a manual page into a source text that compiles only if the headers declare all of it:
# in C if the first header is one of c_headers, which stand between blanks, else in C++. Types: .Ft, .Fn with arguments, .Fo .Fa .Fc, .Vt.
function unquoted(text) {
  gsub(/^ *"|" *$/, "", text)
  return text
}

# "name" or "Class::name" with its arguments, of which each in C++ ends in its name.
function function_seen(name, arguments,   parts, count) {
  gsub(/" *"/, ", ", arguments)
  gsub(/"/, "", arguments)
  if (arguments == "void" && language == "c++") arguments = ""
  ++checks
  count = split(name, parts, /::/)
  if (language == "c")
    print type " (*check_" checks ")(" arguments ") = " name ";"
  else if (count == 2 && parts[1] == parts[2]) {
    used = arguments
    gsub(/[^,]*[ *&]/, "", used)
    print "void check_" checks "(" arguments ") { " parts[1] " object" (used == "" ? "" : "(" used ")") "; }"
  } else
    print "declared<" type "(" arguments ")> check_" checks "(&" name ");"
}

BEGIN { language = "" }
/^\.Sh/ { inside = $2 == "SYNOPSIS" }
!inside { next }
$1 == ".In" {
  if (language == "") {
    language = index(c_headers, " " $2 " ") ? "c" : "c++"
  }
  print "#include <" $2 ">"
  headers_seen = headers_seen " " $2
}
$1 != ".In" && language == "c++" && !prepared++ {
  print "template <class Type> struct declared;"
  print "template <class Result, class... Arguments> struct declared<Result(Arguments...)> {"
  print "  template <class Class> declared(Result (Class::*)(Arguments...)) {}"
  print "  template <class Class> declared(Result (Class::*)(Arguments...) const) {}"
  print "  declared(Result (*)(Arguments...)) {}"
  print "};"
  if (headers_seen ~ /contract\/message.h/) print "using T = TCLIMessage;"
}
$1 == ".Ft" { type = unquoted(substr($0, 5)) }
$1 == ".Vt" { ++checks; print unquoted(substr($0, 5)) ";" }
$1 == ".Fn" { name = $2; arguments = $0; sub(/^\.Fn +[^ ]+ */, "", arguments); function_seen(name, arguments) }
$1 == ".Fo" { name = $2; arguments = "" }
$1 == ".Fa" { sub(/^\.Fa +/, ""); arguments = arguments (arguments == "" ? "" : ", ") unquoted($0) }
$1 == ".Fc" { function_seen(name, arguments) }
END { print "int checks = " checks + 0 ";" }
