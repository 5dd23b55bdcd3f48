// Texts of the status codes that every operation returns.
#ifndef QUILMAR_GGI_STATUS_H
#define QUILMAR_GGI_STATUS_H

#include <string>

// The text of a status code: 1 is success, 0 to 9 general results, 101 to 121 data, model and
// numeric failures, 201 to 203 LU and 301 to 304 Cholesky. Any other code gives "Unknown error
// occurred.".
std::string status_msg(int code);

#endif
