#include "tools/vdsctl/line_source.h"

namespace vdsctl {

bool StreamLines::Read(const std::string& prompt, std::string* line) {
  if (prompt_) output_->Prompt(prompt);
  const bool read = static_cast<bool>(std::getline(in_, *line));
  if (prompt_) output_->PromptAnswered();
  return read;
}

}  // namespace vdsctl
