// Reading a whole file, and saving a text in a file's place: the library's
// own use of the platform's file calls. The settings file gives the text
// its format; this is how the bytes reach the disk and come back.
//
// A save replaces the file through a rename whenever that changes nothing
// a user sees: the text goes to a new file beside the old one (named
// ".NAME.PID.N.tmp"), which takes the old file's owner, group, permission
// bits and extended attributes (its ACL among them) and is then renamed
// over it. On this path
//   - a kill at any moment leaves the old file or the new one, whole; at
//     worst the temporary file stays beside it;
//   - a full disk, the file size limit (EFBIG, when SIGXFSZ is ignored) or
//     a failed close leaves the old file, whole, and no temporary file;
//   - a symbolic link stays, and the file it leads to is replaced.
// The file is written in place instead, into its own bytes, when a rename
// would change what a user sees or cannot be done: the file has more than
// one name (hard links, which a rename would part), its owner, group or
// extended attributes cannot be given to a new file, or no new file can be
// made in its directory. The new length is reserved first, so a full disk
// or the size limit fails the save before a byte changes; then the text
// overwrites the file from its start and the file is cut to its length. On
// this path
//   - a kill during the overwrite leaves the new text up to some point,
//     then the old bytes (zero bytes where the file was being lengthened);
//   - a full disk or the size limit leaves the old file, whole;
//   - on a file system that cannot reserve space the overwrite goes ahead
//     unreserved, and a full disk can then cut the file short.
// A file its user may not write is left as it is, and so is a directory in
// which there is no file and none may be made. Nothing is synced to the
// disk: a power cut can lose a save that had returned (every click saves
// several times, and a sync per save would make marking crawl).
#ifndef RPL_FILE_H
#define RPL_FILE_H

#include "h/gen_string.h"

enum RPL_READ_RESULT {
    RPL_READ_DONE,
    RPL_READ_NOT_OPENED,  // no file there, or one that cannot be opened
    RPL_READ_FAILED,      // not a regular file, or a read error part-way
};

// Reads the whole regular file at `path` into `text`. A pipe, a device, a
// socket or a directory is not read, and opening one never blocks.
RPL_READ_RESULT rpl_read_file(const char* path, string& text);

// Puts `text` in the place of the file at `path`, creating it when there is
// none, as described above. False when neither the file nor a new one
// could be opened for writing: then nothing has changed. True otherwise,
// also when the text could not be written and the old file was kept.
bool rpl_save_file(const string& path, const string& text);

#endif
