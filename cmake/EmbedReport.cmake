# Turns PAGE into the C++ source SOURCE: reportTemplateText() gives its bytes. Run as a script by the build.
file(READ ${PAGE} bytes HEX)
string(REGEX MATCHALL "[0-9a-f][0-9a-f]" bytes "${bytes}")
list(LENGTH bytes count)
list(JOIN bytes ",0x" bytes)
string(REGEX REPLACE "(0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,)" "\\1\n" bytes "0x${bytes}")
file(WRITE ${SOURCE}
"// Made from hosts/report/dist/report.html by the build.
#include \"report/ReportTemplateText.hpp\"

#include <cstddef>

namespace {
constexpr std::size_t count = ${count};
constexpr unsigned char bytes[count] = {
${bytes}};
}  // namespace

std::string_view KestrelCLI::reportTemplateText() { return {reinterpret_cast<const char*>(bytes), count}; }
")
