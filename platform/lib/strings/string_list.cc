// String lists and the tokenizer.

#include <stdlib.h>
#include <string.h>

#include <vorn/err.h>
#include <vorn/list.h>

namespace {

bool Grow(VLIBSZLIST* list)
{
    const int capacity = list->nAlloc * 2;
    void* items = realloc(list->ppszItem, sizeof(char*) * static_cast<size_t>(capacity));
    if (items == nullptr)
        return false;
    list->ppszItem = static_cast<char**>(items);
    list->nAlloc = capacity;
    return true;
}

}  // namespace

extern "C" VLIBSZLIST* VLIBCSzListAlloc(int capacity)
{
    if (capacity < 0) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return nullptr;
    }
    VLIBSZLIST* list = static_cast<VLIBSZLIST*>(calloc(1, sizeof(VLIBSZLIST)));
    const int room = capacity > 0 ? capacity : 1;
    if (list != nullptr)
        list->ppszItem = static_cast<char**>(calloc(static_cast<size_t>(room), sizeof(char*)));
    if (list == nullptr || list->ppszItem == nullptr) {
        free(list);
        VLIBCErrSet(VLIB_ERR_OUT_OF_MEMORY);
        return nullptr;
    }
    list->nAlloc = room;
    return list;
}

extern "C" void VLIBCSzListFree(VLIBSZLIST* list)
{
    if (list == nullptr)
        return;
    for (int i = 0; i < list->nItem; ++i)
        free(list->ppszItem[i]);
    free(list->ppszItem);
    free(list);
}

extern "C" int VLIBCSzListPush(VLIBSZLIST** list, const char* item)
{
    if (list == nullptr || *list == nullptr || item == nullptr) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return -1;
    }
    VLIBSZLIST* target = *list;
    char* copy = strdup(item);
    if (copy == nullptr || (target->nItem == target->nAlloc && !Grow(target))) {
        free(copy);
        VLIBCErrSet(VLIB_ERR_OUT_OF_MEMORY);
        return -1;
    }
    target->ppszItem[target->nItem] = copy;
    return target->nItem++;
}

extern "C" const char* VLIBCSzListGet(const VLIBSZLIST* list, int index)
{
    if (list == nullptr || index < 0 || index >= list->nItem)
        return nullptr;
    return list->ppszItem[index];
}

extern "C" int VLIBCStrTok(const char* text, const char* delimiters, VLIBSZLIST** list)
{
    if (text == nullptr || delimiters == nullptr || list == nullptr || *list == nullptr) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return -1;
    }
    int count = 0;
    while (*text != '\0') {
        text += strspn(text, delimiters);
        const size_t length = strcspn(text, delimiters);
        if (length == 0)
            break;
        char* token = strndup(text, length);
        const int index = token != nullptr ? VLIBCSzListPush(list, token) : -1;
        free(token);
        if (index < 0) {
            VLIBCErrSet(VLIB_ERR_OUT_OF_MEMORY);
            return -1;
        }
        ++count;
        text += length;
    }
    return count;
}
