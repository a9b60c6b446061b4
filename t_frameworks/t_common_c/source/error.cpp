#include "t_common.h"

extern "C" TCOMMON_API const char *TCommonError_text(uint32_t code) {
  switch (code) {
    case TCOMMON_SUCCESS:
      return "Success";
    case TCOMMON_FAILED:
      return "Failed";
    case TCOMMON_INVALID_ARGUMENT:
      return "Invalid argument";
    case TCOMMON_NO_MEMORY:
      return "Out of memory";
    case TCOMMON_PARSE_ERROR:
      return "Parse error";
    case TCOMMON_WRONG_TYPE:
      return "Wrong type";
    case TCOMMON_OUT_OF_RANGE:
      return "Out of range";
    case TCOMMON_IO_ERROR:
      return "I/O error";
    case TCOMMON_NOT_INITIALIZED:
      return "Not initialized";
    case TCOMMON_BUSY:
      return "Busy";
    case TCOMMON_NOT_REGISTERED:
      return "Never registered";
    case TCOMMON_MALFORMED:
      return "Malformed data";
    case TCOMMON_NOT_FOUND:
      return "Not found";
    case TCOMMON_PERMISSION_DENIED:
      return "Permission denied";
    case TCOMMON_WRONG_CONFIGURATION:
      return "Wrong configuration";
    default:
      return "Unknown error";
  }
}
