/* A touch screen made with uinput, for the virtual board: it reads commands
 * on standard input, one a line, and turns them into the events a touch
 * controller's driver sends.
 *
 *   create b|a|pad NAME  a device: "b" multitouch protocol B (slots, tracking
 *                        ids), "a" the older protocol A (SYN_MT_REPORT), "pad"
 *                        a touchpad (INPUT_PROP_POINTER); axes 0..4095
 *   down SLOT ID X Y     protocol B: a contact in SLOT gets tracking id ID at X,Y
 *   move SLOT X Y        protocol B: the contact in SLOT moves
 *   up SLOT              protocol B: the contact in SLOT is lifted
 *   contact X Y          protocol A: one contact of the current report
 *   sync                 ends a report (SYN_REPORT); protocol A with no
 *                        contact before it means every finger is up
 *   flood N              N reports of MSC_SCAN: more than the readers' buffers
 *                        hold while they do not read, so that they get
 *                        SYN_DROPPED and lose what came before
 *   destroy              removes the device
 * Every command answers "ok" or "error: ..." on standard output. */
#include <fcntl.h>
#include <linux/uinput.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <unistd.h>

static int fd = -1;
static int protocol_b = 1;

static void emit(int type, int code, int value) {
    struct input_event e;
    memset(&e, 0, sizeof e);
    e.type = (unsigned short)type;
    e.code = (unsigned short)code;
    e.value = value;
    if (write(fd, &e, sizeof e) != (ssize_t)sizeof e) perror("mtouch: write");
}

static void abs_axis(int code, int max) {
    struct uinput_abs_setup a;
    memset(&a, 0, sizeof a);
    a.code = (unsigned short)code;
    a.absinfo.minimum = 0;
    a.absinfo.maximum = max;
    ioctl(fd, UI_SET_ABSBIT, code);
    ioctl(fd, UI_ABS_SETUP, &a);
}

static int create(const char* kind, const char* name) {
    struct uinput_setup s;
    fd = open("/dev/uinput", O_WRONLY | O_NONBLOCK);
    if (fd < 0) return -1;
    protocol_b = strcmp(kind, "a") != 0;
    ioctl(fd, UI_SET_EVBIT, EV_SYN);
    ioctl(fd, UI_SET_EVBIT, EV_KEY);
    ioctl(fd, UI_SET_EVBIT, EV_ABS);
    ioctl(fd, UI_SET_EVBIT, EV_MSC);
    ioctl(fd, UI_SET_MSCBIT, MSC_SCAN);
    ioctl(fd, UI_SET_KEYBIT, BTN_TOUCH);
    ioctl(fd, UI_SET_PROPBIT, strcmp(kind, "pad") == 0 ? INPUT_PROP_POINTER : INPUT_PROP_DIRECT);
    if (strcmp(kind, "pad") == 0) ioctl(fd, UI_SET_KEYBIT, BTN_TOOL_FINGER);
    abs_axis(ABS_X, 4095);
    abs_axis(ABS_Y, 4095);
    abs_axis(ABS_MT_POSITION_X, 4095);
    abs_axis(ABS_MT_POSITION_Y, 4095);
    if (protocol_b) {
        abs_axis(ABS_MT_SLOT, 9);
        abs_axis(ABS_MT_TRACKING_ID, 65535);
    }
    memset(&s, 0, sizeof s);
    s.id.bustype = BUS_VIRTUAL;
    s.id.vendor = 0x1234;
    s.id.product = 0x5678;
    snprintf(s.name, sizeof s.name, "%s", name);
    if (ioctl(fd, UI_DEV_SETUP, &s) < 0 || ioctl(fd, UI_DEV_CREATE) < 0) return -1;
    return 0;
}

int main(void) {
    char line[256];
    int down = 0;
    int contacts = 0;
    setvbuf(stdout, NULL, _IOLBF, 0);
    while (fgets(line, sizeof line, stdin)) {
        char cmd[32] = "", name[64] = "";
        int a = 0, b = 0, c = 0, d = 0;
        int n = sscanf(line, "%31s %d %d %d %d", cmd, &a, &b, &c, &d);
        if (n < 1) continue;
        if (strcmp(cmd, "create") == 0) {
            char kind[8] = "";
            if (sscanf(line, "%*s %7s %63s", kind, name) != 2 || create(kind, name) != 0) {
                printf("error: can't create the device\n");
                continue;
            }
        } else if (fd < 0) {
            printf("error: no device\n");
            continue;
        } else if (strcmp(cmd, "down") == 0 && n == 5) {
            emit(EV_ABS, ABS_MT_SLOT, a);
            emit(EV_ABS, ABS_MT_TRACKING_ID, b);
            emit(EV_ABS, ABS_MT_POSITION_X, c);
            emit(EV_ABS, ABS_MT_POSITION_Y, d);
            if (down++ == 0) emit(EV_KEY, BTN_TOUCH, 1);
        } else if (strcmp(cmd, "move") == 0 && n == 4) {
            emit(EV_ABS, ABS_MT_SLOT, a);
            emit(EV_ABS, ABS_MT_POSITION_X, b);
            emit(EV_ABS, ABS_MT_POSITION_Y, c);
        } else if (strcmp(cmd, "up") == 0 && n == 2) {
            emit(EV_ABS, ABS_MT_SLOT, a);
            emit(EV_ABS, ABS_MT_TRACKING_ID, -1);
            if (down > 0 && --down == 0) emit(EV_KEY, BTN_TOUCH, 0);
        } else if (strcmp(cmd, "contact") == 0 && n == 3) {
            if (contacts++ == 0 && !down) emit(EV_KEY, BTN_TOUCH, 1);
            emit(EV_ABS, ABS_MT_POSITION_X, a);
            emit(EV_ABS, ABS_MT_POSITION_Y, b);
            emit(EV_SYN, SYN_MT_REPORT, 0);
        } else if (strcmp(cmd, "sync") == 0) {
            if (!protocol_b) {
                // The older protocol's lift: a report with an empty contact.
                if (contacts == 0) emit(EV_SYN, SYN_MT_REPORT, 0);
                if (contacts == 0 && down) emit(EV_KEY, BTN_TOUCH, 0);
                down = contacts > 0;
                contacts = 0;
            }
            emit(EV_SYN, SYN_REPORT, 0);
        } else if (strcmp(cmd, "flood") == 0 && n == 2) {
            for (int i = 0; i < a; ++i) {
                emit(EV_MSC, MSC_SCAN, i);
                emit(EV_SYN, SYN_REPORT, 0);
            }
        } else if (strcmp(cmd, "destroy") == 0) {
            ioctl(fd, UI_DEV_DESTROY);
            close(fd);
            fd = -1;
        } else {
            printf("error: bad command %s", line);
            continue;
        }
        printf("ok\n");
    }
    return 0;
}
