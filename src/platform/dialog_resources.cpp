// Building and parsing the dialog resource layouts.
#include "dialog_resources.h"

#include "little_endian.h"

namespace {

void PutU16(std::vector<uint8_t>& out, uint16_t value) {
    uint8_t bytes[2];
    WriteLE16(bytes, value);
    out.insert(out.end(), bytes, bytes + 2);
}

void PutRect(std::vector<uint8_t>& out, const Rect& r) {
    for (int16_t side : {r.top, r.left, r.bottom, r.right})
        PutU16(out, static_cast<uint16_t>(side));
}

// Reads forward through a byte range; every read checks what is left first.
class Reader {
  public:
    Reader(const uint8_t* data, size_t size) : data_(data), left_(data == nullptr ? 0 : size) {}
    bool U8(uint8_t* value) {
        if (left_ < 1) return false;
        *value = *data_;
        Skip(1);
        return true;
    }
    bool U16(uint16_t* value) {
        if (left_ < 2) return false;
        *value = ReadLE16(data_);
        Skip(2);
        return true;
    }
    bool S16(int16_t* value) {
        uint16_t raw;
        if (!U16(&raw)) return false;
        *value = static_cast<int16_t>(raw);
        return true;
    }
    bool RectOf(Rect* r) { return S16(&r->top) && S16(&r->left) && S16(&r->bottom) && S16(&r->right); }
    bool Bytes(size_t count, std::string* out) {
        if (count > left_) return false;
        out->assign(reinterpret_cast<const char*>(data_), count);
        Skip(count);
        return true;
    }

  private:
    void Skip(size_t count) {
        data_ += count;
        left_ -= count;
    }
    const uint8_t* data_;
    size_t left_;
};

} // namespace

std::vector<uint8_t> BuildItemList(const std::vector<DialogItemTemplate>& items) {
    std::vector<uint8_t> out;
    PutU16(out, static_cast<uint16_t>(items.size()));
    for (const DialogItemTemplate& item : items) {
        out.push_back(item.kind);
        out.push_back(static_cast<uint8_t>(item.choices.size()));
        PutRect(out, item.bounds);
        std::string text = item.title + '\0';
        for (const std::string& choice : item.choices)
            text += choice + '\0';
        PutU16(out, static_cast<uint16_t>(text.size()));
        out.insert(out.end(), text.begin(), text.end());
    }
    return out;
}

bool ParseItemList(const uint8_t* data, size_t size, std::vector<DialogItemTemplate>* items) {
    Reader reader(data, size);
    uint16_t count;
    if (!reader.U16(&count)) return false;
    items->clear();
    for (uint16_t i = 0; i < count; ++i) {
        DialogItemTemplate item;
        uint8_t kind, choiceCount;
        uint16_t textLength;
        std::string text;
        if (!reader.U8(&kind) || !reader.U8(&choiceCount) || !reader.RectOf(&item.bounds) ||
            !reader.U16(&textLength) || !reader.Bytes(textLength, &text))
            return false;
        item.kind = static_cast<DialogItemKind>(kind);
        // The text is choiceCount + 1 NUL-terminated strings.
        std::vector<std::string> strings;
        size_t start = 0;
        for (size_t end; (end = text.find('\0', start)) != std::string::npos; start = end + 1)
            strings.push_back(text.substr(start, end - start));
        if (start != text.size() || strings.size() != static_cast<size_t>(choiceCount) + 1) return false;
        item.title = strings[0];
        item.choices.assign(strings.begin() + 1, strings.end());
        items->push_back(item);
    }
    return true;
}

std::vector<uint8_t> BuildDialogTemplate(const DialogTemplate& dialog) {
    std::vector<uint8_t> out;
    PutRect(out, dialog.bounds);
    PutU16(out, static_cast<uint16_t>(dialog.itemListID));
    PutU16(out, static_cast<uint16_t>(dialog.title.size()));
    out.insert(out.end(), dialog.title.begin(), dialog.title.end());
    return out;
}

bool ParseDialogTemplate(const uint8_t* data, size_t size, DialogTemplate* dialog) {
    Reader reader(data, size);
    uint16_t titleLength;
    return reader.RectOf(&dialog->bounds) && reader.S16(&dialog->itemListID) && reader.U16(&titleLength) &&
           reader.Bytes(titleLength, &dialog->title);
}
