# Draws the pictures of the bundle from artwork/ in the sizes that the hosts ask for.
find_program(VELOMAR_RSVG rsvg-convert REQUIRED)

set(VELOMAR_PICTURES ${velomar_BINARY_DIR}/pictures)
set(velomar_picture_files)

# velomar_add_picture(<artwork> <file> <side>) draws a square PNG of <side> pixels.
function(velomar_add_picture artwork file side)
  set(source ${velomar_SOURCE_DIR}/artwork/${artwork}.svg)
  add_custom_command(OUTPUT ${VELOMAR_PICTURES}/${file}
    COMMAND ${CMAKE_COMMAND} -E make_directory ${VELOMAR_PICTURES}/icons
    COMMAND ${VELOMAR_RSVG} --width ${side} --height ${side} --output ${VELOMAR_PICTURES}/${file}
      ${source}
    DEPENDS ${source}
    VERBATIM)
  set(velomar_picture_files ${velomar_picture_files} ${VELOMAR_PICTURES}/${file} PARENT_SCOPE)
endfunction()

# Draws a picture that the manifest names: in its size, and in twice that for dense displays.
macro(velomar_add_icon artwork name side)
  velomar_add_picture(${artwork} icons/${name}.png ${side})
  math(EXPR doubled "2 * ${side}")
  velomar_add_picture(${artwork} icons/${name}@2x.png ${doubled})
endmacro()

velomar_add_picture(SDPlusIcon SDPlusIcon.png 144)
velomar_add_icon(plugin plugin 256)
velomar_add_icon(wings category 28)
velomar_add_icon(wings action 20)
velomar_add_icon(key key 72)
velomar_add_icon(dial dial 72)

add_custom_target(pictures ALL DEPENDS ${velomar_picture_files})
