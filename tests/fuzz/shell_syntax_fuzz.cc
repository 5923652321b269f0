// vdsctl's shell on arbitrary lines: the line syntax alone, then the whole input as an
// interactive session against the small fake provider of the tool tests. Properties:
//   - a line that parses names what its verb needs (a kind for list and select, the subsystem or
//     drive kind for reenumerate, a number only for select, never a negative one);
//   - a refused line comes with a reason;
//   - case and surrounding blanks change nothing;
//   - a session ends with one of the tool's exit codes, and never reads or writes out of bounds.
#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>

#include "tests/tools/fake_provider.h"
#include "tools/vdsctl/commands.h"
#include "tools/vdsctl/model.h"
#include "tools/vdsctl/output.h"
#include "tools/vdsctl/shell.h"
#include "tools/vdsctl/shell_syntax.h"

namespace {

using vdsctl::Kind;
using vdsctl::ShellCommand;
using vdsctl::Verb;

void Check(bool ok) {
  if (!ok) std::abort();
}

std::string Upper(std::string text) {
  for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return text;
}

// Upper case changes the text of name= and serial= (the keys are read in any case).
bool Same(const ShellCommand& a, const ShellCommand& b) {
  if (a.verb != b.verb || a.kind != b.kind || a.object.has_value() != b.object.has_value()) {
    return false;
  }
  if (!a.object) return true;
  return a.object->by == b.object->by && a.object->index == b.object->index &&
         Upper(a.object->text) == Upper(b.object->text);
}

void CheckLine(const std::string& line) {
  ShellCommand command;
  std::string error;
  const bool ok = vdsctl::ParseShellLine(line, &command, &error);
  if (!ok) {
    Check(!error.empty());
  } else {
    switch (command.verb) {
      case Verb::kList:
        Check(command.kind.has_value() && !command.object);
        break;
      case Verb::kSelect:
        Check(command.kind.has_value());
        break;
      case Verb::kReenumerate:
        Check(command.kind == Kind::kSubsystem || command.kind == Kind::kDrive);
        break;
      default:
        Check(!command.object);
        break;
    }
    Check(!command.object || command.object->by != vdsctl::ObjectRef::By::kIndex ||
          command.object->index >= 0);
  }

  std::string upper = line;
  for (char& c : upper) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  ShellCommand other;
  std::string otherError;
  Check(vdsctl::ParseShellLine(upper, &other, &otherError) == ok);
  if (ok) Check(Same(command, other));
  Check(vdsctl::ParseShellLine(" \t" + line + " ", &other, &otherError) == ok);
  if (ok) Check(Same(command, other));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const bool json = data[0] & 1;
  const std::string script(reinterpret_cast<const char*>(data) + 1, size - 1);

  std::istringstream lines(script);
  for (std::string line; std::getline(lines, line);) CheckLine(line);

  static vdsctl_test::FakeSettings settings;
  ComPtr<IVdsProvider> provider;
  provider.Attach(vdsctl_test::NewFakeProvider(&settings));
  std::ostringstream out, err;
  vdsctl::Output output(json, false, out, err);
  vdsctl::Model model(provider.Get());
  vdsctl::Commands commands(&model, &output);
  vdsctl::Shell shell(&model, &commands, &output);
  std::istringstream in(script);
  const vdsctl::ExitCode code = shell.Run(in, /*interactive=*/true);
  Check(code == vdsctl::kExitOk);
  return 0;
}
