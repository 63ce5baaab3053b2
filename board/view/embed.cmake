# cmake -DPAGE=page.html -DSOURCE=page.cpp -P embed.cmake: makes the page a part of the program.
file(READ ${PAGE} bytes HEX)
string(REGEX REPLACE "(..)" "'\\\\x\\1'," bytes "${bytes}")
file(WRITE ${SOURCE} "#include \"view/page.h\"

namespace orka::board {

static const char bytes[] = {
${bytes}};
const std::string_view page(bytes, sizeof bytes);

} // namespace orka::board
")
