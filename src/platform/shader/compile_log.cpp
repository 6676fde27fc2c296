#include "platform/shader/compile_log.h"

#include <algorithm>
#include <charconv>

namespace platform {
namespace {

constexpr std::size_t kMostMessages = 20;
constexpr std::string_view kError = "error ", kWarning = "warning ";

// Takes a number from the front of `text`.
bool TakeNumber(std::string_view& text, u32& value) {
    const auto [end, fault] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (fault != std::errc()) return false;
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    return true;
}

bool Take(std::string_view& text, std::string_view head) {
    if (!text.starts_with(head)) return false;
    text.remove_prefix(head.size());
    return true;
}

// "name(12,5-9): ". The name may be a path with brackets of its own.
bool TakeBracketPlace(std::string_view& row, CompileMessage& message) {
    std::size_t close = std::string_view::npos;
    for (const std::string_view kind : {kError, kWarning}) {
        close = std::min(close, row.find("): " + std::string(kind)));
    }
    if (close == std::string_view::npos) return false;
    const std::size_t open = row.rfind('(', close);
    if (open == std::string_view::npos) return false;
    std::string_view place = row.substr(open + 1, close - open - 1);
    if (!TakeNumber(place, message.line)) return false;
    if (Take(place, ",")) TakeNumber(place, message.column);
    row.remove_prefix(close + 3);
    return true;
}

// "name:12:5: "
bool TakeColonPlace(std::string_view& row, CompileMessage& message) {
    for (std::size_t at = row.find(':'); at != std::string_view::npos; at = row.find(':', at + 1)) {
        std::string_view rest = row.substr(at + 1);
        u32 line = 0, column = 0;
        if (!TakeNumber(rest, line) || !Take(rest, ":") || !TakeNumber(rest, column) || !Take(rest, ": ")) {
            continue;
        }
        message.line = line;
        message.column = column;
        row = rest;
        return true;
    }
    return false;
}

// 'E' or 'W' of "E5000: "; 0 for anything else.
char NumberedKind(std::string_view row) {
    const std::size_t end = row.find(':');
    if (end == std::string_view::npos || end < 2 || (row[0] != 'E' && row[0] != 'W')) return 0;
    return row.substr(1, end - 1).find_first_not_of("0123456789") == std::string_view::npos ? row[0] : '\0';
}

}  // namespace

void TakeCompileLog(std::string_view log, std::vector<CompileMessage>& messages) {
    const std::size_t before = messages.size();
    std::string_view other;
    log = log.substr(0, log.find('\0'));
    while (!log.empty() && messages.size() - before < kMostMessages) {
        const std::size_t end = std::min(log.find('\n'), log.size());
        std::string_view row = log.substr(0, end);
        log.remove_prefix(std::min(end + 1, log.size()));
        while (!row.empty() && (row.back() == '\r' || row.back() == ' ')) row.remove_suffix(1);
        if (row.empty()) continue;
        CompileMessage message;
        const bool placed = TakeBracketPlace(row, message) || TakeColonPlace(row, message);
        // "name: E5000: what" belongs to no place.
        const std::size_t head = placed ? std::string_view::npos : row.find(": ");
        if (head != std::string_view::npos && NumberedKind(row.substr(head + 2)) != 0) {
            row.remove_prefix(head + 2);
        }
        const char kind = NumberedKind(row);
        if (kind == 'W' || row.starts_with(kWarning)) continue;
        if (!Take(row, kError) && kind == 0 && !placed) {
            if (other.empty()) other = row;
            continue;
        }
        message.text = row;
        messages.push_back(std::move(message));
    }
    if (messages.size() == before && !other.empty()) messages.push_back({0, 0, std::string(other)});
}

}  // namespace platform
