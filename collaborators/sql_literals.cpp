#include "collaborators/sql_literals.h"

#include <array>
#include <cctype>
#include <charconv>
#include <cstdint>

namespace veq {

namespace {

bool isSpace(char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; }
bool isDigit(char c) { return c >= '0' && c <= '9'; }
// SQLite takes every byte of a UTF-8 sequence as part of an identifier.
bool isIdentStart(char c) {
  const auto u = static_cast<unsigned char>(c);
  return std::isalpha(u) || c == '_' || u >= 0x80;
}
bool isIdentChar(char c) { return isIdentStart(c) || isDigit(c) || c == '$'; }
bool isOperatorChar(char c) { return c == '=' || c == '<' || c == '>' || c == '!'; }

bool equalsIgnoringCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i)
    if (std::toupper(static_cast<unsigned char>(a[i])) != std::toupper(static_cast<unsigned char>(b[i])))
      return false;
  return true;
}

bool isComparison(std::string_view op) {
  static constexpr std::array<std::string_view, 8> kComparisons = {"=", "==", "!=", "<>", "<", "<=", ">", ">="};
  for (std::string_view c : kComparisons)
    if (op == c) return true;
  return false;
}

// Keywords after which literals no longer belong to the WHERE clause.
bool endsWhereClause(std::string_view word) {
  static constexpr std::array<std::string_view, 8> kEnders = {"GROUP", "ORDER",     "LIMIT",  "HAVING",
                                                              "WINDOW", "UNION", "INTERSECT", "EXCEPT"};
  for (std::string_view k : kEnders)
    if (equalsIgnoringCase(word, k)) return true;
  return false;
}

// Length of the unsigned numeric literal at s[i] (digits, fraction,
// exponent), 0 when there is none.
size_t numberLength(std::string_view s, size_t i) {
  size_t j = i;
  while (j < s.size() && isDigit(s[j])) ++j;
  if (j < s.size() && s[j] == '.') {
    ++j;
    while (j < s.size() && isDigit(s[j])) ++j;
  }
  if (j == i || (j == i + 1 && s[i] == '.')) return 0;
  if (j < s.size() && (s[j] == 'e' || s[j] == 'E')) {
    size_t k = j + 1;
    if (k < s.size() && (s[k] == '+' || s[k] == '-')) ++k;
    if (k < s.size() && isDigit(s[k])) {
      while (k < s.size() && isDigit(s[k])) ++k;
      j = k;
    }
  }
  return j - i;
}

// The value of a numeric literal text (optional '-' then the literal).
std::optional<VEQValue> numberValue(std::string_view text) {
  const char* first = text.data();
  const char* last = text.data() + text.size();
  if (text.find_first_of(".eE") == std::string_view::npos) {
    int64_t i = 0;
    auto [end, ec] = std::from_chars(first, last, i);
    if (ec != std::errc() || end != last) return std::nullopt;
    return VEQValue(static_cast<long long>(i));
  }
  double d = 0;
  auto [end, ec] = std::from_chars(first, last, d);
  if (ec != std::errc() || end != last) return std::nullopt;
  return VEQValue(d);
}

// Splits a lifted query into words, "?" and operators for the shape check.
std::vector<std::string_view> tokens(std::string_view s) {
  std::vector<std::string_view> out;
  size_t i = 0;
  while (i < s.size()) {
    if (isSpace(s[i])) {
      ++i;
      continue;
    }
    size_t j = i + 1;
    if (isIdentStart(s[i])) {
      while (j < s.size() && isIdentChar(s[j])) ++j;
    } else if (isOperatorChar(s[i])) {
      while (j < s.size() && isOperatorChar(s[j])) ++j;
    }
    out.push_back(s.substr(i, j - i));
    i = j;
  }
  return out;
}

bool isPlainIdentifier(std::string_view word) { return !word.empty() && isIdentStart(word[0]); }

}  // namespace

std::optional<VEQLiftedQuery> veqLiftLiterals(std::string_view s) {
  // SQLite reads a text only up to its first NUL byte; what follows one is
  // not part of the query it runs.
  if (s.find('\0') != std::string_view::npos) return std::nullopt;
  VEQLiftedQuery lifted;
  std::string& out = lifted.sql;
  out.reserve(s.size());
  bool sawSelect = false;
  bool inWhere = false;
  bool afterComparison = false;  // the last token was a comparison operator
  size_t i = 0;
  while (i < s.size()) {
    const char c = s[i];
    const char next = i + 1 < s.size() ? s[i + 1] : '\0';
    if (isSpace(c)) {
      out += c;
      ++i;
      continue;
    }
    if (isIdentStart(c)) {
      size_t j = i;
      while (j < s.size() && isIdentChar(s[j])) ++j;
      const std::string_view word = s.substr(i, j - i);
      // X'…' blob literals and the like.
      if (j < s.size() && (s[j] == '\'' || s[j] == '"')) return std::nullopt;
      if (!sawSelect && !equalsIgnoringCase(word, "SELECT")) return std::nullopt;
      sawSelect = true;
      if (equalsIgnoringCase(word, "WHERE")) inWhere = true;
      else if (endsWhereClause(word)) inWhere = false;
      out += word;
      afterComparison = false;
      i = j;
      continue;
    }
    if (!sawSelect) return std::nullopt;
    if (c == '\'') {
      std::string text;
      size_t j = i + 1;
      for (;; ++j) {
        if (j >= s.size()) return std::nullopt;
        if (s[j] == '\'') {
          if (j + 1 < s.size() && s[j + 1] == '\'') {
            ++j;
          } else {
            break;
          }
        }
        text += s[j];
      }
      ++j;  // past the closing quote
      if (inWhere) {
        out += '?';
        lifted.args.emplace_back(std::move(text));
      } else {
        out += s.substr(i, j - i);
      }
      afterComparison = false;
      i = j;
      continue;
    }
    if (c == '"' || c == '`' || c == '[') {
      const char close = c == '[' ? ']' : c;
      const size_t end = s.find(close, i + 1);
      if (end == std::string_view::npos) return std::nullopt;
      const std::string_view quoted = s.substr(i, end + 1 - i);
      if (quoted.substr(1, quoted.size() - 2).find_first_of("'\"`") != std::string_view::npos) return std::nullopt;
      if (end + 1 < s.size() && s[end + 1] == close) return std::nullopt;  // "" escape inside
      out += quoted;
      afterComparison = false;
      i = end + 1;
      continue;
    }
    if ((c == '-' && next == '-') || (c == '/' && next == '*')) return std::nullopt;
    if (c == '?' || c == ':' || c == '@' || c == '$' || c == '#' || c == ';') return std::nullopt;
    if (isOperatorChar(c)) {
      size_t j = i;
      while (j < s.size() && isOperatorChar(s[j])) ++j;
      out += s.substr(i, j - i);
      afterComparison = isComparison(s.substr(i, j - i));
      i = j;
      continue;
    }
    const bool signedNumber = (c == '-' || c == '+') && afterComparison && numberLength(s, i + 1) > 0;
    const size_t digits = signedNumber ? numberLength(s, i + 1) : numberLength(s, i);
    if (digits > 0) {
      const size_t start = signedNumber ? i + 1 : i;
      const size_t end = start + digits;
      if (end < s.size() && (isIdentChar(s[end]) || s[end] == '.')) return std::nullopt;
      if (inWhere && afterComparison) {
        std::string text = c == '-' ? "-" : "";
        text += s.substr(start, digits);
        std::optional<VEQValue> value = numberValue(text);
        if (!value) return std::nullopt;
        out += '?';
        lifted.args.push_back(std::move(*value));
      } else {
        out += s.substr(i, end - i);
      }
      afterComparison = false;
      i = end;
      continue;
    }
    out += c;
    afterComparison = false;
    ++i;
  }
  if (!sawSelect) return std::nullopt;
  return lifted;
}

std::optional<VEQEqualityFilter> veqEqualityFilter(const VEQLiftedQuery& query, std::string_view selected) {
  const std::vector<std::string_view> t = tokens(query.sql);
  // SELECT <selected> FROM table WHERE column = ? {AND column = ?}
  if (t.size() < 8 || (t.size() - 8) % 4 != 0) return std::nullopt;
  if (!equalsIgnoringCase(t[0], "SELECT") || !equalsIgnoringCase(t[1], selected) || !equalsIgnoringCase(t[2], "FROM") ||
      !isPlainIdentifier(t[3]) || !equalsIgnoringCase(t[4], "WHERE"))
    return std::nullopt;
  VEQEqualityFilter filter;
  filter.table = t[3];
  for (size_t i = 5; i < t.size(); i += 4) {
    if (i > 5 && !equalsIgnoringCase(t[i - 1], "AND")) return std::nullopt;
    if (!isPlainIdentifier(t[i]) || (t[i + 1] != "=" && t[i + 1] != "==") || t[i + 2] != "?") return std::nullopt;
    filter.columns.emplace_back(t[i]);
  }
  if (filter.columns.size() != query.args.size()) return std::nullopt;
  return filter;
}

}  // namespace veq
