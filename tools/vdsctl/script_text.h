// The text of a shell script as editors save it: UTF-8 with or without a byte order mark, or
// UTF-16 (little or big endian) with one, as Windows editors write "Unicode" files.
#ifndef VELA_TOOLS_VDSCTL_SCRIPT_TEXT_H_
#define VELA_TOOLS_VDSCTL_SCRIPT_TEXT_H_

#include <string>

namespace vdsctl {

// The script's text in UTF-8 without a byte order mark. False for UTF-16 of an odd length.
bool DecodeScriptText(const std::string& bytes, std::string* text);

}  // namespace vdsctl

#endif  // VELA_TOOLS_VDSCTL_SCRIPT_TEXT_H_
