/* A fixed-size ring buffer of bytes, with a worker thread draining it. */
#include <pthread.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include "ringbuffer.h"

#define CAPACITY 256

typedef struct ring {
    unsigned char data[CAPACITY];
    size_t head, tail;
    pthread_mutex_t lock;
} ring_t;

typedef enum { RING_OK, RING_FULL, RING_EMPTY } ring_status;

typedef void (*drain_fn)(unsigned char byte);

static ring_t ring;
static volatile sig_atomic_t running = 1;

static ring_status ring_put(ring_t *r, unsigned char byte)
{
    ring_status status = RING_OK;
    pthread_mutex_lock(&r->lock);
    size_t next = (r->head + 1) % CAPACITY;
    if (next == r->tail)
        status = RING_FULL;
    else {
        r->data[r->head] = byte;
        r->head = next;
    }
    pthread_mutex_unlock(&r->lock);
    return status;
}

static int ring_get(ring_t *r, unsigned char *byte)
{
    int got = 0;
    pthread_mutex_lock(&r->lock);
    if (r->tail != r->head) {
        *byte = r->data[r->tail];
        r->tail = (r->tail + 1) % CAPACITY;
        got = 1;
    }
    pthread_mutex_unlock(&r->lock);
    return got;
}

static void print_byte(unsigned char byte) { putchar(byte); }

static void *drain(void *arg)
{
    drain_fn out = (drain_fn)arg;
    unsigned char byte;
    while (running)
        if (ring_get(&ring, &byte))
            out(byte);
    return NULL;
}

static void stop(int sig) { (void)sig; running = 0; }

static void report(void) { fprintf(stderr, "ring: head %zu tail %zu\n", ring.head, ring.tail); }

int main(void)
{
    pthread_t worker;
    pthread_mutex_init(&ring.lock, NULL);
    signal(SIGINT, stop);
    atexit(report);
    pthread_create(&worker, NULL, drain, (void *)print_byte);
    for (int c; (c = getchar()) != EOF;)
        while (ring_put(&ring, (unsigned char)c) == RING_FULL)
            ;
    running = 0;
    pthread_join(worker, NULL);
    return 0;
}
