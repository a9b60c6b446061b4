/* A minimal host of the tuning shell: opens the built-in calibration database, the simulated
 * ISP and the shell, starts the stream, writes the digital gain of the green-on-blue channel,
 * reads it back and prints both responses. Exits 0 when the read answers the written gain.
 *
 * Build it against an installed package with CMake (CMakeLists.txt beside this file) or
 * with pkg-config:
 *   cc host.c $(pkg-config --cflags --libs tshell) -o host
 */
#include <stdio.h>
#include <string.h>

#include "t_common.h"
#include "t_database.h"
#include "t_driver.h"
#include "t_shell.h"

static int check(const char *what, uint32_t code) {
  if (code != TCOMMON_SUCCESS) {
    fprintf(stderr, "host: %s: %s (%u)\n", what, TCommonError_text(code), code);
    return 0;
  }
  return 1;
}

/* Writes the gain, reads it back; 0 when the read answers what was written. */
static int tune(TShell *shell) {
  const char *response = NULL;
  if (!check("write", TShell_process(shell,
                                     "{\"category\":\"DG\",\"key\":\"gb\","
                                     "\"value\":{\"current\":1.5}}",
                                     &response))) {
    return 1;
  }
  printf("%s\n", response);
  if (!check("read", TShell_process(shell, "{\"category\":\"DG\",\"key\":\"gb\"}", &response))) {
    return 1;
  }
  printf("%s\n", response);
  return strstr(response, "\"current\":1.5") != NULL ? 0 : 1;
}

int main(void) {
  TCommonLogger *logger = NULL;
  TDatabase *database = NULL;
  TDriver *driver = NULL;
  TShell *shell = NULL;
  int status = 1;

  if (check("logger", TCommonLogger_open(&logger)) &&
      check("database", TDatabase_open(NULL, &database)) &&
      check("driver", TDriver_open(database, &driver))) {
    void *handles[3] = {database, driver, logger};
    if (check("shell", TShell_open(handles, &shell)) && check("init", TDriver_init(driver, 1)) &&
        check("stream", TDriver_stream(driver, 1))) {
      status = tune(shell);
    }
  }

  if (shell != NULL) TShell_close(&shell);
  if (driver != NULL) TDriver_close(&driver);
  if (database != NULL) TDatabase_close(&database);
  if (logger != NULL) TCommonLogger_close(&logger);
  return status;
}
