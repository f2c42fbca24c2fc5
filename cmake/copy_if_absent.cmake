# cmake -DSRC=file -DDST=file -P copy_if_absent.cmake
# Copies SRC to DST only when DST does not exist: files of the program folder hold user data.
if(NOT EXISTS "${DST}")
    get_filename_component(dst_dir "${DST}" DIRECTORY)
    file(MAKE_DIRECTORY "${dst_dir}")
    file(COPY_FILE "${SRC}" "${DST}.partial")
    file(RENAME "${DST}.partial" "${DST}")
endif()
