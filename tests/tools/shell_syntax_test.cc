#include "tools/vdsctl/shell_syntax.h"

#include <gtest/gtest.h>

namespace vdsctl {
namespace {

ShellCommand Parse(std::string_view line) {
  ShellCommand command;
  std::string error;
  EXPECT_TRUE(ParseShellLine(line, &command, &error)) << line << ": " << error;
  return command;
}

std::string ParseError(std::string_view line) {
  ShellCommand command;
  std::string error;
  EXPECT_FALSE(ParseShellLine(line, &command, &error)) << line;
  return error;
}

TEST(ShellSyntax, KindsAcceptSingularPluralAndPrefixesInAnyCase) {
  EXPECT_EQ(ParseKind("LUN"), Kind::kLun);
  EXPECT_EQ(ParseKind("luns"), Kind::kLun);
  EXPECT_EQ(ParseKind("Sub"), Kind::kSubsystem);
  EXPECT_EQ(ParseKind("controller"), Kind::kController);
  EXPECT_EQ(ParseKind("plexes"), Kind::kPlex);
  EXPECT_EQ(ParseKind("po"), std::nullopt);
  EXPECT_EQ(ParseKind("drivesx"), std::nullopt);
  EXPECT_EQ(ParseKind(""), std::nullopt);
}

TEST(ShellSyntax, SelectTakesAKindAndAnOptionalNumber) {
  ShellCommand command = Parse("  SELECT lun 5 ");
  EXPECT_EQ(command.verb, Verb::kSelect);
  EXPECT_EQ(command.kind, Kind::kLun);
  ASSERT_TRUE(command.object);
  EXPECT_EQ(command.object->by, ObjectRef::By::kIndex);
  EXPECT_EQ(command.object->index, 5);

  command = Parse("sel sub");
  EXPECT_EQ(command.verb, Verb::kSelect);
  EXPECT_EQ(command.kind, Kind::kSubsystem);
  EXPECT_FALSE(command.object);

  // A name may hold blanks: the rest of the line, without its trailing blanks.
  command = Parse("select lun name=north data  ");
  ASSERT_TRUE(command.object);
  EXPECT_EQ(command.object->by, ObjectRef::By::kName);
  EXPECT_EQ(command.object->text, "north data");
  EXPECT_EQ(Parse("select plex 0").kind, Kind::kPlex);
}

TEST(ShellSyntax, OtherVerbs) {
  EXPECT_EQ(Parse("list drives").kind, Kind::kDrive);
  EXPECT_EQ(Parse("det").verb, Verb::kDetail);
  EXPECT_EQ(Parse("detail pool").kind, Kind::kPool);
  EXPECT_EQ(Parse("refresh provider").verb, Verb::kRefresh);
  EXPECT_EQ(Parse("HEALTH").verb, Verb::kHealth);
  EXPECT_EQ(Parse("reenumerate drives").kind, Kind::kDrive);
  EXPECT_EQ(Parse("reenum subsystems").kind, Kind::kSubsystem);
  EXPECT_EQ(Parse("?").verb, Verb::kHelp);
  EXPECT_EQ(Parse("quit").verb, Verb::kExit);
  EXPECT_EQ(Parse("exit").verb, Verb::kExit);
}

TEST(ShellSyntax, BlankAndCommentLinesDoNothing) {
  EXPECT_EQ(Parse("").verb, Verb::kNone);
  EXPECT_EQ(Parse(" \t\r\n").verb, Verb::kNone);
  EXPECT_EQ(Parse("# a comment").verb, Verb::kNone);
  EXPECT_EQ(Parse("REM select lun 1").verb, Verb::kNone);
}

TEST(ShellSyntax, RefusesMalformedLines) {
  EXPECT_EQ(ParseError("frobnicate"), "Unknown command 'frobnicate'.");
  EXPECT_EQ(ParseError("lst drives"), "Unknown command 'lst'. Did you mean 'list'?");
  EXPECT_EQ(ParseError("list"), "The object type is missing.");
  EXPECT_EQ(ParseError("list gizmos"), "Unknown object type 'gizmos'.");
  EXPECT_EQ(ParseError("list drvies"), "Unknown object type 'drvies'. Did you mean 'drives'?");
  const std::string notAnObject = "Not an object number, name=TEXT or serial=TEXT: ";
  EXPECT_EQ(ParseError("select lun -1"), notAnObject + "-1");
  EXPECT_EQ(ParseError("select lun 99999999999"), notAnObject + "99999999999");
  EXPECT_EQ(ParseError("select lun 1x"), notAnObject + "1x");
  EXPECT_EQ(ParseError("select lun 1 2"), notAnObject + "1 2");
  EXPECT_EQ(ParseError("list luns 2"), "Too many arguments: 2");
  EXPECT_EQ(ParseError("exit now"), "Too many arguments: now");
  EXPECT_EQ(ParseError("refresh"), "Usage: refresh provider");
  EXPECT_EQ(ParseError("reenumerate luns"), "Usage: reenumerate subsystems|drives");
}

}  // namespace
}  // namespace vdsctl
