#include "writer.h"

#include <errno.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

/* What the writing process says; a row or the report follows where there is one. */
enum { kRowWanted, kProgress, kDone };
typedef struct Message {
    gint32 kind;
    gint32 number; /* of the row, or of percent */
} Message;

/* ---- Between the processes ------------------------------------------------------------------- */

static gboolean sendAll(int socket, const void* bytes, gsize length) {
    const guint8* at = bytes;
    while (length != 0) {
        const gssize sent = send(socket, at, length, MSG_NOSIGNAL);
        if (sent < 0 && errno == EINTR) continue;
        if (sent <= 0) return FALSE;
        at += sent;
        length -= (gsize)sent;
    }
    return TRUE;
}

/* FALSE when the other one is gone. */
static gboolean receiveAll(int socket, void* bytes, gsize length) {
    guint8* at = bytes;
    while (length != 0) {
        const gssize received = recv(socket, at, length, 0);
        if (received < 0 && errno == EINTR) continue;
        if (received <= 0) return FALSE;
        at += received;
        length -= (gsize)received;
    }
    return TRUE;
}

static gsize rowBytes(const TivarPicture* picture) {
    switch (picture->format) {
        case TIVAR_RGB:
        case TIVAR_BGR:
            return (gsize)picture->width * 3;
        case TIVAR_RGBA:
        case TIVAR_BGRA:
            return (gsize)picture->width * 4;
        default:
            return picture->width;
    }
}

/* ---- The process that writes: nothing here but the library and calls of the system ----------- */

typedef struct Writer {
    int socket;
    gsize rowBytes;
} Writer;

static gint32 askForRow(void* context, guint32 y, void* row) {
    const Writer* writer = context;
    const Message wanted = {kRowWanted, (gint32)y};
    const gboolean given = sendAll(writer->socket, &wanted, sizeof wanted) &&
                           receiveAll(writer->socket, row, writer->rowBytes);
    return given ? 0 : -1;
}

static gint32 tellProgress(void* context, gint32 percent) {
    const Writer* writer = context;
    const Message message = {kProgress, percent};
    return sendAll(writer->socket, &message, sizeof message) ? 0 : -1;
}

static void writeAndEnd(int socket, TivarPicture picture, TivarOptions options, const gchar* name) {
    Writer writer = {socket, rowBytes(&picture)};
    picture.read_row = askForRow;
    picture.context = &writer;
    options.progress = tellProgress;
    options.context = &writer;
    TivarReport report = {.size = sizeof report};
    tivar_write_bmp_file(&picture, &options, name, 0, &report);
    const Message done = {kDone, 0};
    if (sendAll(socket, &done, sizeof done)) sendAll(socket, &report, sizeof report);
    /* Without what GIMP's libraries do at the end of the plug-in. */
    _exit(0);
}

/* ---- The plug-in ----------------------------------------------------------------------------- */

static void failWith(TivarReport* report, gint32 result, gint32 error) {
    report->result = result;
    report->system_error = error;
    g_strlcpy(report->text, tivar_result_text(result), sizeof report->text);
}

static gboolean giveRow(int socket, const TivarPicture* picture, gint32 y, guint8* row) {
    return picture->read_row(picture->context, (guint32)y, row) == 0 &&
           sendAll(socket, row, rowBytes(picture));
}

/* Until the report is there; else the process has ended on its own. */
static void serve(int socket, const TivarPicture* picture, const TivarOptions* options, guint8* row,
                  TivarReport* report) {
    Message message;
    failWith(report, TIVAR_RESULT_FILE_FAILED, 0);
    while (receiveAll(socket, &message, sizeof message)) {
        if (message.kind == kDone) {
            receiveAll(socket, report, sizeof *report);
            return;
        }
        if (message.kind == kProgress) options->progress(options->context, message.number);
        if (message.kind == kRowWanted && !giveRow(socket, picture, message.number, row)) return;
    }
}

static void waitFor(pid_t process) {
    while (waitpid(process, NULL, 0) < 0 && errno == EINTR) continue;
}

gint32 writeApart(const TivarPicture* picture, const TivarOptions* options, const gchar* name,
                  TivarReport* report) {
    int sockets[2];
    guint8* row = g_try_malloc(rowBytes(picture));
    if (row == NULL) {
        failWith(report, TIVAR_RESULT_NO_MEMORY, 0);
        return report->result;
    }
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets) != 0) {
        failWith(report, TIVAR_RESULT_FILE_FAILED, errno);
        g_free(row);
        return report->result;
    }
    const pid_t process = fork();
    if (process == 0) {
        close(sockets[0]);
        writeAndEnd(sockets[1], *picture, *options, name);
    }
    const int error = errno;
    close(sockets[1]);
    if (process < 0) {
        failWith(report, TIVAR_RESULT_FILE_FAILED, error);
    } else {
        serve(sockets[0], picture, options, row, report);
    }
    close(sockets[0]);
    if (process > 0) waitFor(process);
    g_free(row);
    return report->result;
}
