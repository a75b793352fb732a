# tivar::tivar is the shared library, tivar::static the archive.
include(${CMAKE_CURRENT_LIST_DIR}/tivar-targets.cmake)
