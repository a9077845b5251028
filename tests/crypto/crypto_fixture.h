#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <charconv>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "kelm/base/data.h"
#include "kelm/logging/vasp_logger.h"
#include "kelm/testing/log_capture.h"
#include "tests/support/canary.h"

namespace kelm::testing {

/// The columns of one line of a data file.
using Row = std::vector<std::string>;

/// The lines of a file of the folder data/ but empty ones and those that begin with "#".
inline std::vector<Row> rowsOf(const std::string& file) {
  std::ifstream stream(KELM_TEST_DATA "/" + file);
  std::vector<Row> rows;
  for (std::string line; std::getline(stream, line);) {
    if (line.empty() || line.front() == '#') continue;
    std::istringstream columns(line);
    rows.emplace_back(std::istream_iterator<std::string>(columns),
                      std::istream_iterator<std::string>());
  }
  if (rows.empty()) throw std::runtime_error("no rows in " + file);
  return rows;
}

/// Hexadecimal digits as bytes; "-" for none.
inline Data bytesOfColumn(std::string_view column) {
  Data bytes;
  if (column == "-") return bytes;
  for (std::size_t at = 0; at < column.size(); at += 2) {
    const char* const pair = column.data() + at;
    if (std::from_chars(pair, pair + 2, bytes.emplace_back(), 16).ptr != pair + 2)
      throw std::runtime_error("not hexadecimal: " + std::string(column));
  }
  return bytes;
}

/// A buffer of exactly its size on the heap, so that sanitizers see every read past its end.
inline Data counted(std::size_t size, unsigned start = 1) {
  Data bytes(size);
  for (std::size_t i = 0; i < size; ++i)
    bytes[i] = static_cast<std::uint8_t>(start + 7 * i);
  bytes.shrink_to_fit();
  return bytes;
}

using Lines = std::vector<std::string>;

/// Each message of the log as "level aspects origin first-line", without its further pieces.
inline Lines recordsOf(const LogCapture& log) {
  Lines records;
  for (const LogCapture::Record& record : log.records()) {
    std::string_view message = record.message;
    if (message.starts_with('[')) {  // "[1/2]text"
      if (!message.starts_with("[1/")) continue;
      message.remove_prefix(message.find(']') + 1);
    }
    std::ostringstream text;
    text << record.level << " 0x" << std::hex << record.aspect << ' ' << record.source << ' '
         << message.substr(0, message.find('\n'));
    records.push_back(text.str());
  }
  return records;
}

/// The same, and the log is empty afterwards.
inline Lines takeRecords(LogCapture& log) {
  Lines records = recordsOf(log);
  log.clear();
  return records;
}

}  // namespace kelm::testing
