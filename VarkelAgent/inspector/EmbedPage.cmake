# Writes a source that holds the page's files: cmake -DOUT=FILE -DFOLDER=DIR "-DFILES=a;b" -P EmbedPage.cmake
set(types_html "text/html; charset=utf-8")
set(types_css "text/css; charset=utf-8")
set(types_js "text/javascript; charset=utf-8")
set(types_svg "image/svg+xml")

set(arrays "")
set(entries "")
foreach(name IN LISTS FILES)
    file(READ ${FOLDER}/${name} bytes HEX)
    string(REGEX REPLACE "(..)" "0x\\1," bytes "${bytes}")
    string(REGEX REPLACE "(................................................................................)" "\\1\n" bytes "${bytes}")
    string(MAKE_C_IDENTIFIER ${name} symbol)
    string(REGEX REPLACE ".*\\." "" suffix ${name})
    set(path ${name})
    if(name STREQUAL "index.html")
        set(path "")
    endif()
    string(APPEND arrays "constexpr unsigned char ${symbol}[] = {\n${bytes}};\n")
    string(APPEND entries "    {\"${path}\", \"${types_${suffix}}\", {reinterpret_cast<const char*>(${symbol}), sizeof ${symbol}}},\n")
endforeach()
file(WRITE ${OUT} "#include \"inspector/Page.h\"

namespace varkel::inspector {

namespace {

${arrays}
}  // namespace

std::span<const PageFile> pageFiles() {
    static const PageFile files[] = {
${entries}    };
    return files;
}

}  // namespace varkel::inspector
")
