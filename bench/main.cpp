#include "rows.h"
int main() { remora::bench::Rows rows; remora::bench::measureRunTime(rows); }
