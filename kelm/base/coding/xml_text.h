#pragma once

#include <string_view>

namespace kelm {

/// True when XML 1.0 can hold the text: valid UTF-8, no control characters but tab and line ends,
/// no U+FFFE and U+FFFF.
bool isXmlText(std::string_view text);

}  // namespace kelm
