// Reading the A records out of a DNS answer.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace tools {

// Appends "Found ipV4 A.B.C.D" for each A record of the answer, in answer order. Returns the
// c-ares status: ARES_SUCCESS, ARES_ENODATA for an answer without A records, ARES_EBADRESP
// for bytes that are not a well-formed answer (which are never read past their length).
int answerLines(const unsigned char* answer, size_t length, std::vector<std::string>& lines);

} // namespace tools
