#pragma once
// CSV and tab-separated text: reading a file into rows of fields, and writing rows of displayed
// texts with the separators and quoting of the application's CSV and text formats.

#include <string>
#include <string_view>
#include <vector>

#include "util/result.h"

namespace sheaflow::xl::native::csv {

// Decodes a text file: UTF-8 with a byte-order mark; else UTF-8 when the bytes are valid UTF-8;
// else CP932. False when the bytes are neither.
bool decode(std::string_view bytes, std::string& utf8);

// Splits text into records and fields. Quoted fields may hold separators, doubled quotes and
// line breaks (kept as LF); records end with CR LF, LF or CR alone. Records keep their own
// number of fields; an empty line is a record with no field.
std::vector<std::vector<std::string>> parse(std::string_view text, char separator);

// A field's value when the file is opened: a number only when writing the number back gives the
// same text (so "007", "1.50" and "1e3" stay text).
bool plain_number(std::string_view field, double& value);

// One field as written: quoted when it holds the separator, a quote or a line break (and, in
// tab-separated text, a comma); quotes inside are doubled.
void append_field(std::string_view field, char separator, std::string& out);

// One record of the output, CR LF ended. A field is quoted when it holds the separator, a quote
// or a line break (and, in tab-separated text, a comma); quotes inside are doubled.
void append_record(const std::vector<std::string>& fields, char separator, std::string& out);

}  // namespace sheaflow::xl::native::csv
