# Turns the files under resource/ into one C++ source file that holds each file
# as a byte array and registers it with the read-only file store before main.
#
#   cmake -DRESOURCE_ROOT=<path of resource/> -DOUTPUT=<generated .cpp> -P tools/embed_resources.cmake
#
# Every file is registered as "vesk/resource/" followed by its path below
# RESOURCE_ROOT, with its exact size (the arrays carry no terminator). The
# registrations run in the order of the list below; files that the list does not
# name yet follow it in name order, so that a new file is never lost silently.

cmake_minimum_required(VERSION 3.25)

if(NOT DEFINED RESOURCE_ROOT OR NOT DEFINED OUTPUT)
  message(FATAL_ERROR "Usage: cmake -DRESOURCE_ROOT=<dir> -DOUTPUT=<file.cpp> -P embed_resources.cmake")
endif()
get_filename_component(RESOURCE_ROOT "${RESOURCE_ROOT}" ABSOLUTE)

# The registration order: the base dictionary first, then the layouts, then the pictures.
set(ordered_resources
  xml/dict.xml
  xml/root_container.xml
  xml/output_page/page.xml
  xml/option_page/page.xml
  xml/option_page/option_button.xml
  xml/help_page/page.xml
  xml/cmn_items/focus_frame.xml
  xml/cmn_items/menu_button.xml
  xml/title_bar/title.xml
  xml/title_bar/clock.xml
  xml/title_bar/station.xml
  xml/title_bar/title_bar.xml
  xml/title_bar/option_button.xml
  xml/title_bar/help_button.xml
  xml/title_bar/battery.xml
  xml/title_bar/back_button.xml
  xml/list_arg_page/select_list_button.xml
  xml/list_arg_page/page.xml
  xml/exec_page/page.xml
  xml/exec_page/argu_button.xml
  xml/exec_page/panel.xml
  xml/select_device_page/page.xml
  xml/menu_page/executable_button.xml
  xml/menu_page/first_page.xml
  xml/menu_page/page.xml
  xml/numeric_arg_page/numeric_button.xml
  xml/numeric_arg_page/page.xml
  icon/marlo.bmp
  icon/focus_frame.bmp
  icon/fail.bmp
  icon/executable.bmp
  icon/left_arrow.bmp
  icon/battery.bmp
  icon/right_arrow.bmp
  icon/pass.bmp
  icon/option.bmp
)

foreach(rel IN LISTS ordered_resources)
  if(NOT EXISTS "${RESOURCE_ROOT}/${rel}")
    message(FATAL_ERROR "Resource ${RESOURCE_ROOT}/${rel} is missing")
  endif()
endforeach()

file(GLOB_RECURSE found RELATIVE "${RESOURCE_ROOT}" "${RESOURCE_ROOT}/*.xml" "${RESOURCE_ROOT}/*.bmp")
list(SORT found)
set(resources ${ordered_resources})
foreach(rel IN LISTS found)
  if(NOT rel IN_LIST ordered_resources)
    message(STATUS "Resource ${rel} is not in the registration order; registering it last")
    list(APPEND resources ${rel})
  endif()
endforeach()

# Sixteen bytes per line of the generated source.
string(REPEAT "[0-9a-f]" 32 sixteen_bytes)

set(body "")
set(index 0)
foreach(rel IN LISTS resources)
  math(EXPR index "${index} + 1")
  set(path "${RESOURCE_ROOT}/${rel}")
  file(SIZE "${path}" size)
  file(READ "${path}" hex HEX)
  string(REGEX REPLACE "(${sixteen_bytes})" "\\1\n    " hex "${hex}")
  string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${hex}")
  string(REGEX REPLACE "\n    $" "" bytes "${bytes}")
  if(size EQUAL 0)
    # An array cannot be empty; the registered size stays 0.
    set(bytes "0x00,")
  endif()
  string(APPEND body
    "// ${rel}, ${size} bytes.\n"
    "static const unsigned char data_${index}[] = {\n"
    "    ${bytes}\n"
    "};\n"
    "static ozgi::cls_rom_file_mgr::reg_token_t reg_${index} = "
    "ozgi::cls_rom_file_mgr::ins()->register_file(\"vesk/resource/${rel}\", data_${index}, ${size});\n\n")
endforeach()

# Quoted throughout: the semicolons of the C++ text must not turn into list separators.
set(content
  "// Generated from resource/ by tools/embed_resources.cmake; edits here are lost.\n")
string(APPEND content
  "// Each resource is a byte array registered with the read-only file store\n"
  "// during static initialisation, in the order below.\n"
  "#include \"ozgi/cls_rom_file_mgr.h\"\n\n"
  "${body}")

# Always written, even when unchanged: the build tool compares times, and an output
# older than a touched resource would make it run this script on every build.
file(WRITE "${OUTPUT}" "${content}")
