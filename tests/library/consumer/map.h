/* A header of the program's own that has the name of one of the library's. */
#ifndef MAP_H
#define MAP_H

#define ROADS 3

#endif
