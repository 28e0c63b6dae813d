/* Which slot does a line use? */
#include <stdio.h>
#include <userlib.h>

int main(void) {
  IndexMapEntry store[32];
  IndexMap slot_of_line;
  NUV_IndexMap_construct(&slot_of_line, store, 32);
  for (int32_t line = 20; line < 23; ++line) {
    const uint32_t slot = (uint32_t)line % 5;
    NUV_IndexMap_insert(&slot_of_line, line, slot);
  }
  NUV_IndexMap_remove(&slot_of_line, NUV_IndexMap_find(&slot_of_line, 21));
  for (uint32_t i = NUV_IndexMap_begin(&slot_of_line); i != NUV_IndexMap_end(&slot_of_line);
       i = NUV_IndexMap_next(&slot_of_line, i)) {
    IndexMapPair* pair = NUV_IndexMap_get(&slot_of_line, i);
    printf("line %d has slot %u\n", (int)pair->m_iKey, (unsigned)pair->m_uValue);
  }
  NUV_IndexMap_destruct(&slot_of_line);
  return 0;
}
