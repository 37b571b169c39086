// Reading a whole file, and saving a text in a file's place: the library's
// own use of the platform's file calls. The settings file gives the text
// its format; this is how the bytes reach the disk and come back.
//
// A file larger than RPL_MAX_FILE_SIZE is not read: its size is taken from
// the file system, so even a sparse file of a terabyte costs one call. It
// counts as a file that cannot be read, and a file that cannot be loaded is
// never saved over.
//
// A symbolic link in the file's place is followed, through a chain of
// them, only where the kernel's protected-symlinks rule would follow it in
// a sticky directory: the link is owned by the saving user or by the owner
// of the directory holding it. Any other link (another user may have
// planted it where the settings file belongs) fails the save, which writes
// nothing and creates nothing, also when the link dangles. A dangling link
// that is followed gets its target created.
//
// Every open of the file, and of a new one, never waits (O_NONBLOCK) and
// goes on only when it reached a regular file: a FIFO or a device in the
// file's place, put there before the save or during it, fails the save
// with nothing written.
//
// A text larger than RPL_MAX_FILE_SIZE is never saved: the save fails
// before a byte is written (with a debug trace saying so), and the old file
// stays whole, so every file a save writes is one a load reads.
//
// A save replaces the file through a rename whenever that changes nothing
// a user sees: the text goes to a new file beside the old one (named
// ".NAME.PID.RANDOM.tmp", RANDOM 16 hexadecimal digits from getrandom(2),
// created only where no file of that name is: nobody can plant the name
// beforehand to push the save off this road), which takes the old file's owner, group, permission
// bits and extended attributes (its ACL among them) and is then renamed
// over it. On this path
//   - a kill at any moment leaves the old file or the new one, whole; at
//     worst the temporary file stays beside it, until a later save of the
//     file (see below);
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
//     then the old bytes: lost lines where the two texts do not line up, a
//     garbled key or header at the junction, and NUL bytes at the end where
//     the file was lengthened and the new text had not yet reached;
//   - several processes writing in place at once, one of them killed, can
//     leave a header line that none of them wrote whole; it parses as a
//     header, so later saves keep it as a section of its own;
//   - a full disk or the size limit leaves the old file, whole;
//   - on a file system that cannot reserve space the overwrite goes ahead
//     unreserved, and a full disk can then cut the file short.
// A torn file loads (a NUL ends a line's text, and a line of NULs is an
// empty one), and the next save writes what it loaded in the settings
// file's form: sorted, no NUL bytes, no stray lines; a garbled key or
// header stays as a key or a section of its own.
// A save that reaches a regular file then removes the temporary files of
// that file which processes no longer running left beside it, in one pass
// over the directory. It skips that pass when the directory has not changed
// since this process's previous save of the same file, less than a second
// earlier: no name was added, so there is nothing new to remove. A leftover
// made while this process itself saves (its own changes hide it) goes with
// the next save that finds the directory changed, or a second later.
// A file its user may not write is left as it is, and so is a directory in
// which there is no file and none may be made. Nothing is synced to the
// disk: a power cut can lose a save that had returned (every click saves
// several times, and a sync per save would make marking crawl).
#ifndef RPL_FILE_H
#define RPL_FILE_H

#include <cstddef>

#include "h/gen_string.h"

// The largest file rpl_read_file reads: 16 MiB. A settings file holds a few
// lines per section (about 80 bytes; a table's column lists about 10 bytes
// a column). A report whose every section has a block writes about 1 MB
// for 10,000 sections, and building its TOC loads that file 14,000 times,
// since every section loads the whole file. The limit leaves 16 times
// that; a whole-store load of a file at the limit (some 200,000 blocks)
// takes about 0.2 s.
const std::size_t RPL_MAX_FILE_SIZE = std::size_t(16) << 20;

enum RPL_READ_RESULT {
    RPL_READ_DONE,
    RPL_READ_NOT_OPENED,  // no file there, or one that cannot be opened
    RPL_READ_FAILED,      // not a regular file, larger than RPL_MAX_FILE_SIZE, or a read error part-way
};

// Reads the whole regular file at `path` into `text`. A pipe, a device, a
// socket or a directory is not read, and opening one never blocks.
RPL_READ_RESULT rpl_read_file(const char* path, string& text);

// The file a save of `path` writes: `path` itself, or the end of its chain
// of symbolic links (a file that may not exist yet). False, with `target`
// empty, when a link of the chain is one a save does not follow: owned by
// another user than the saving one, in a directory of yet another.
bool rpl_save_target(const string& path, string& target);

// Puts `text` in the place of the file at `path`, creating it when there is
// none, as described above. False when neither the file nor a new one
// could be opened for writing, something other than a regular file is in
// its place, a link in its place is not followed, or `text` is larger than
// RPL_MAX_FILE_SIZE: then nothing has changed. True otherwise, also when the text could not
// be written and the old file was kept.
bool rpl_save_file(const string& path, const string& text);

#endif
