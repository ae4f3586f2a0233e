#include "host/NullFile.h"

bool NullFile::open(char const*, int) { return true; }

void NullFile::close() {}

int NullFile::read(char*, int) { return 0; }

int NullFile::write(char const*, int length) { return length < 0 ? -1 : length; }

bool NullFile::seek(long long, int) { return true; }

long long NullFile::getLength() { return 0; }

bool NullFile::flush() { return true; }
