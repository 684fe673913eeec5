/* A program built against the installed library: decodes an IVF file of one
 * picture size and writes the pictures to stdout as raw I420. */
#include <stdio.h>
#include <stdlib.h>
#include <veltrane/veltrane.h>

static void* Allocate(IAllocator* allocator, size_t size) {
    (void)allocator;
    return malloc(size);
}

static void Release(IAllocator* allocator, void* block) {
    (void)allocator;
    free(block);
}

static uint32_t Le(const unsigned char* p, int bytes) {
    uint32_t value = 0;
    while (bytes-- > 0) value = value << 8 | p[bytes];
    return value;
}

static void WritePlane(const unsigned char* plane, int stride, int width, int height) {
    for (int row = 0; row < height; ++row) fwrite(plane + row * stride, 1, (size_t)width, stdout);
}

int main(int argc, char** argv) {
    static const IAllocatorFunctions functions = {Allocate, Allocate, Release};
    IAllocator allocator = {&functions};
    unsigned char header[32];
    FILE* in = argc == 2 ? fopen(argv[1], "rb") : NULL;
    if (in == NULL || fread(header, 1, 32, in) != 32) return 1;
    const int width = (int)Le(header + 12, 2), height = (int)Le(header + 14, 2);
    DecompressSession_t* session = DecompressOpen(width, height, &allocator);
    if (session == NULL) return 1;
    unsigned char frameHeader[12];
    int status = 0;
    while (status == 0 && fread(frameHeader, 1, 12, in) == 12) {
        const uint32_t size = Le(frameHeader, 4);
        unsigned char* frame = malloc(size);
        status = frame == NULL || fread(frame, 1, size, in) != size;
        if (status == 0) status = DecompressFrame(session, frame, size, NULL);
        if (status == 0) {
            const DecompressPlanes_t* planes = session->planes;
            WritePlane(planes->y, session->yStride, width, height);
            WritePlane(planes->u, session->uvStride, (width + 1) / 2, (height + 1) / 2);
            WritePlane(planes->v, session->uvStride, (width + 1) / 2, (height + 1) / 2);
        }
        free(frame);
    }
    DecompressClose(session);
    fclose(in);
    if (status != 0) fprintf(stderr, "consumer: %s: status %d\n", argv[1], status);
    return status != 0;
}
