/* Runs the cases on standard input with libmodbus, each on a connection of its own; the lines are those of
 * clients.py. */

#include <errno.h>
#include <modbus.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>

enum { MOST_VALUES = 2048 };

struct request {
    int function, unit, address, count, write_address, write_count;
};

static uint16_t word_to_write(int i) { return (uint16_t)(0x1200 + i); }

/* Sends the request. Returns what the library returns, with -2 for a function that it does not have. */
static int ask(modbus_t *ctx, const struct request *r, uint8_t *bits, uint16_t *words) {
    uint16_t out[MOST_VALUES];
    uint8_t out_bits[MOST_VALUES];
    for (int i = 0; i < MOST_VALUES; i++) {
        out[i] = word_to_write(i);
        out_bits[i] = i % 3 == 0;
    }
    switch (r->function) {
    case 0x01:
        return modbus_read_bits(ctx, r->address, r->count, bits);
    case 0x02:
        return modbus_read_input_bits(ctx, r->address, r->count, bits);
    case 0x03:
        return modbus_read_registers(ctx, r->address, r->count, words);
    case 0x04:
        return modbus_read_input_registers(ctx, r->address, r->count, words);
    case 0x05:
        return modbus_write_bit(ctx, r->address, 1);
    case 0x06:
        return modbus_write_register(ctx, r->address, out[0]);
    case 0x0F:
        return modbus_write_bits(ctx, r->address, r->count, out_bits);
    case 0x10:
        return modbus_write_registers(ctx, r->address, r->count, out);
    case 0x11:
        return modbus_report_slave_id(ctx, MOST_VALUES, bits);
    case 0x16:
        return modbus_mask_write_register(ctx, r->address, 0xFFFF, 0);
    case 0x17:
        return modbus_write_and_read_registers(ctx, r->write_address, r->write_count, out, r->address,
                                               r->count, words);
    default:
        return -2;
    }
}

/* What was written with 0x06 and 0x10 is there for the same connection. */
static int reads_back(modbus_t *ctx, const struct request *r) {
    uint16_t words[MOST_VALUES];
    if (r->function != 0x06 && r->function != 0x10) {
        return 1;
    }
    if (modbus_read_registers(ctx, r->address, r->count, words) != r->count) {
        return 0;
    }
    for (int i = 0; i < r->count; i++) {
        if (words[i] != word_to_write(i)) {
            return 0;
        }
    }
    return 1;
}

static void tell_error(void) {
    const int error = errno;
    if (error == EMBMDATA || error == EINVAL) {
        puts("own limit"); /* nothing was sent */
    } else if (error > MODBUS_ENOBASE && error < MODBUS_ENOBASE + MODBUS_EXCEPTION_MAX) {
        printf("exception %d\n", error - MODBUS_ENOBASE);
    } else if (error == ETIMEDOUT) {
        puts("time-out");
    } else if (error == ECONNRESET || error == EPIPE) {
        puts("closed");
    } else {
        printf("error: %s\n", modbus_strerror(error));
    }
}

static void run(modbus_t *ctx, const struct request *r) {
    uint8_t bits[MOST_VALUES] = {0};
    uint16_t words[MOST_VALUES] = {0};
    const int got = ask(ctx, r, bits, words);
    if (got == -2) {
        puts("not offered");
    } else if (got < 0) {
        tell_error();
    } else if (!reads_back(ctx, r)) {
        puts("error: read back otherwise");
    } else {
        fputs("ok", stdout);
        const int values = r->function == 0x03 || r->function == 0x04 || r->function == 0x17 ? got : 0;
        for (int i = 0; i < values; i++) {
            printf(" %u", (unsigned)words[i]);
        }
        putchar('\n');
    }
}

int main(int argc, char **argv) {
    struct request r;
    if (argc != 3) {
        fputs("usage: libmodbus_client HOST PORT < CASES\n", stderr);
        return 2;
    }
    while (scanf("%d %d %d %d %d %d", &r.function, &r.unit, &r.address, &r.count, &r.write_address,
                 &r.write_count) == 6) {
        modbus_t *ctx = modbus_new_tcp_pi(argv[1], argv[2]);
        if (ctx == NULL) {
            fprintf(stderr, "libmodbus_client: %s\n", modbus_strerror(errno));
            return 1;
        }
        modbus_set_response_timeout(ctx, 2, 0);
        if (modbus_set_slave(ctx, r.unit) != 0) {
            puts("own limit");
        } else if (modbus_connect(ctx) != 0) {
            tell_error();
        } else {
            run(ctx, &r);
            modbus_close(ctx);
        }
        modbus_free(ctx);
        fflush(stdout);
    }
    return 0;
}
