#include "DovrelFoundation/Import/CsvReader.h"

#include "DovrelFoundation/Import/ImportedHabit.h"

namespace dovrel {

std::vector<CsvRecord> readCsv(std::string_view text, const std::string& name) {
    std::vector<CsvRecord> records;
    CsvRecord record;
    std::string field;
    std::size_t line = 1;
    record.line = 1;
    bool quoted = false;
    bool fieldStarted = false;
    std::size_t quoteLine = 0;
    auto endRecord = [&] {
        record.fields.push_back(std::move(field));
        field.clear();
        // A blank line is no record.
        if (!(record.fields.size() == 1 && record.fields[0].empty())) {
            records.push_back(std::move(record));
        }
        record = CsvRecord{};
        fieldStarted = false;
    };
    for (std::size_t index = 0; index < text.size(); ++index) {
        const char c = text[index];
        if (quoted) {
            if (c == '"') {
                if (index + 1 < text.size() && text[index + 1] == '"') {
                    field += '"';
                    ++index;
                } else {
                    quoted = false;
                }
            } else {
                if (c == '\n') {
                    ++line;
                }
                field += c;
            }
            continue;
        }
        if (c == '"' && !fieldStarted) {
            quoted = true;
            fieldStarted = true;
            quoteLine = line;
        } else if (c == ',') {
            record.fields.push_back(std::move(field));
            field.clear();
            fieldStarted = false;
        } else if (c == '\n' || c == '\r') {
            if (c == '\r' && index + 1 < text.size() && text[index + 1] == '\n') {
                ++index;
            }
            endRecord();
            ++line;
            record.line = line;
        } else {
            field += c;
            fieldStarted = true;
        }
    }
    if (quoted) {
        throw ImportError(name + ", line " + std::to_string(quoteLine) +
                          ": a quoted field is never closed");
    }
    if (fieldStarted || !field.empty() || !record.fields.empty()) {
        endRecord();
    }
    return records;
}

std::string csvField(std::string_view value) {
    if (value.find_first_of(",\"\r\n") == std::string_view::npos) {
        return std::string(value);
    }
    std::string quoted = "\"";
    for (const char c : value) {
        quoted += c;
        if (c == '"') {
            quoted += '"';
        }
    }
    return quoted + "\"";
}

}  // namespace dovrel
