// The pages of pages/, each put together into one text when this library is built. @DATA@ stands
// for what a page shows, as JSON.
#pragma once

namespace remora {

extern const char kAnnotatePage[];
extern const char kReportPage[];

}  // namespace remora
