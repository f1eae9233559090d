#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace dovrel {

// The records of CSV text (RFC 4180): fields separated by commas, records by CRLF or LF, a
// field in double quotes may hold commas, line breaks and doubled quotes. Each record comes
// with the line it starts on (1-based), for messages. A quote left open is an ImportError
// naming `name` and the line.
struct CsvRecord {
    std::size_t line = 0;
    std::vector<std::string> fields;
};
std::vector<CsvRecord> readCsv(std::string_view text, const std::string& name);

// A field written as RFC 4180 wants it: in double quotes (doubled inside) when it holds a
// comma, a quote or a line break, as it is otherwise.
std::string csvField(std::string_view value);

}  // namespace dovrel
