# The allocation pools, over what QZ_POOL_BACKEND names; see cmake/Dependencies.cmake.
target_sources(qzCore PRIVATE memory_pool.cpp memory_pool_${QZ_POOL_BACKEND}.cpp)
if(QZ_POOL_BACKEND STREQUAL "tbb")
  target_link_libraries(qzCore PRIVATE TBB::tbbmalloc)
endif()
