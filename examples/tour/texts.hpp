// Stops of the tour that show text: streams of UTF-16, files in several encodings.
#pragma once

void write_three_encodings();
void format_numbers();
