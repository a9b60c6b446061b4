/* "TL": the tiling of the image into a grid that is processed tile by tile. */
#ifndef T_DATABASE_RECORDS_TILE_H
#define T_DATABASE_RECORDS_TILE_H

#include <stdint.h>

typedef struct TDatabaseTile {
  uint16_t joint;     /* how neighbouring tiles are joined: 0 abutting, 1 overlapping */
  uint16_t numberX;   /* tiles across */
  uint16_t numberY;   /* tiles down */
  uint16_t operation; /* 0 whole frame at once, 1 tile by tile */
} TDatabaseTile;

#endif /* T_DATABASE_RECORDS_TILE_H */
