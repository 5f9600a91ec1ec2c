// The page around the capture, put together by CMake from page.html and what it names.
#pragma once

namespace trace {

extern const char* const PAGE_BEFORE_CAPTURE;
extern const char* const PAGE_AFTER_CAPTURE;

} // namespace trace
