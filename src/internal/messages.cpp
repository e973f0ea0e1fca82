#include "internal/messages.h"

#include <locale.h>

#include <cstdarg>
#include <cstdio>

namespace remora::internal {

void say(const char* format, ...) {
  static const locale_t c_locale = newlocale(LC_ALL_MASK, "C", nullptr);
  const locale_t host_locale = uselocale(c_locale);
  std::va_list arguments;
  va_start(arguments, format);
  std::vprintf(format, arguments);
  va_end(arguments);
  uselocale(host_locale);
}

}  // namespace remora::internal
