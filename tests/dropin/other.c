/* SPDX-License-Identifier: Zlib */
/* Another library with the names of SDL's functions, as SDL 2 is one; with OTHER_PROGRAM a program of it, or
 * with both in one the program that has them itself. */
#ifdef OTHER_LIBRARY
int SDL_UpperBlit(const int* from, const void* unused, int* to, void* unused2);
int SDL_FillRect(int* to, const void* unused, unsigned colour);

int SDL_UpperBlit(const int* from, const void* unused, int* to, void* unused2) {
    (void)unused, (void)unused2;
    *to = *from + 1;
    return 5;
}

int SDL_FillRect(int* to, const void* unused, unsigned colour) {
    (void)unused;
    *to += (int)colour;
    return 7;
}
#endif

#ifdef OTHER_PROGRAM
#    ifndef OTHER_LIBRARY
int SDL_UpperBlit(const int* from, const void* unused, int* to, void* unused2);
int SDL_FillRect(int* to, const void* unused, unsigned colour);
#    endif

int main(void) {
    /* Records that SDL 1.2 would take for surfaces without a pixel. */
    int from[64] = {10}, to[64] = {0}, sum = SDL_UpperBlit(from, 0, to, 0);
    sum += SDL_FillRect(to, 0, 3);
    return sum + to[0] == 26 ? 0 : 1;
}
#endif
