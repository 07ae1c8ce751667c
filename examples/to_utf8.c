/* to_utf8 CODESET: converts standard input from the codeset to UTF-8, as it comes, in pieces. The codeset's
 * table is looked for in $XCSDIR/codeset, here and elsewhere; see xcs(3). */
#include <mar/charset/convert.h>
#include <stdio.h>
#include <string.h>

int main(int argc, char** argv) {
  char in[4096];
  char out[4096];
  size_t got;
  uint32_t left = 0; /* bytes at the front of `in` that belong to a character not yet complete */
  xcs_cs_t* codeset = argc == 2 ? xcs_cs_new(argv[1]) : NULL;
  if (codeset == NULL) {
    fprintf(stderr, argc == 2 ? "There is no table of %s.\n" : "Usage: to_utf8 CODESET\n", argv[argc - 1]);
    return 2;
  }
  while ((got = fread(in + left, 1, sizeof in - left, stdin)) != 0) {
    const char* from = in;
    int result;
    left += (uint32_t)got;
    do {
      char* to = out;
      uint32_t room = sizeof out;
      result = xcs_to_utf8_r(codeset, &from, &left, &to, &room);
      fwrite(out, 1, sizeof out - room, stdout);
    } while (result == XCS_OUTPUT_FULL);
    memmove(in, from, left);
  }
  xcs_cs_free(codeset);
  if (left != 0) fprintf(stderr, "The input ends inside a character.\n");
  return left == 0 && fflush(stdout) == 0 && !ferror(stdin) ? 0 : 1;
}
