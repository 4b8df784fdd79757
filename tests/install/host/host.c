/* A host, as somebody writes it who has the installed copy only. */

#include <stdint.h>
#include <stdio.h>
#include <zorbec.h>

int main(void) {
  zorbec_init();
  const uint32_t status = zorbec_run(0);
  zorbec_finalize();
  printf("status %lu\n", (unsigned long)status);
  return 0;
}
