# Declared for the same check as the toolkit is.
if(NOT TARGET QCoro6::Core)
  add_library(QCoro6::Core INTERFACE IMPORTED GLOBAL)
endif()
