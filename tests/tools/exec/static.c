/* Statically linked, so that nothing can be preloaded: prints what its children find of our
   environment. */

#include <stdlib.h>

int main(void) {
  return system("env | grep -e ^ZELVOX_ -e zelvox-preload || echo none") != 0;
}
