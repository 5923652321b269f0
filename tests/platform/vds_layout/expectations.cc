// Writes, as a C++ source for the cross compiler, the sizes and member offsets that the
// structures of our VDS headers have in this build: a program that includes mingw-w64's <vds.h>
// and these static_asserts compiles only when the two agree.
#include <cstddef>
#include <cstdio>

#include "platform/vds.h"

int main() {
  std::printf("// Generated from our VDS headers; checked against mingw-w64's <vds.h>.\n");
  // mingw-w64's <vds.h> repeats most of <vdslun.h> and then includes it, which does not compile
  // as C++. <vdslun.h> goes first, in a namespace of its own, for the two structures that only it
  // declares; <vds.h> then finds it included.
  std::printf(
      "#include <windows.h>\n#include <ole2.h>\n#include <oaidl.h>\n#include <ocidl.h>\n"
      "#include <cstddef>\n"
      "namespace vdslun {\n#include <vdslun.h>\n}\n"
      "using vdslun::VDS_INTERCONNECT;\nusing vdslun::VDS_LUN_INFORMATION;\n"
      "#include <vds.h>\n\n");
#define VDS_LAYOUT_STRUCT(type) \
  std::printf("static_assert(sizeof(%s) == %zu, \"size of %s\");\n", #type, sizeof(type), #type);
#define VDS_LAYOUT_MEMBER(type, member)                                                         \
  std::printf("static_assert(offsetof(%s, %s) == %zu, \"offset of %s.%s\");\n", #type, #member, \
              offsetof(type, member), #type, #member);
#include "vds_layout_members.inc"
#undef VDS_LAYOUT_STRUCT
#undef VDS_LAYOUT_MEMBER
  return 0;
}
