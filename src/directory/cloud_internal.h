// The parts of the cloud phone books that read one cached document, reached
// by the exported calls and by the fuzz target.
#pragma once

#include "phonecore/cloudbook.h"
#include "phonecore/contacts.h"

namespace phonecore::cloud {

// Searches the directory document at path for key (already lower case):
// hits go to records from *count on, never past CLOUD_BOOK_SEARCH_ROOM. A
// document is not opened once *count is above 39. 0 or -1 as the parse.
int search_book(const char* path, const char* key, ContactRecord* records, int* count);

// 1 when the document at path begins with the element CiscoIPPhoneMenu
// (after its declaration, comments and doctype), without parsing the rest.
int cached_is_menu(const char* path);

}  // namespace phonecore::cloud
