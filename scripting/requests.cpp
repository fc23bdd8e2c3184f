#include "scripting/requests.h"

#include <algorithm>

namespace {

struct error_sentence {
    OSErr error;
    const char *text;
};

constexpr error_sentence sentences[] = {
    {fnfErr, "File not found."},
    {dirNFErr, "Folder not found."},
    {bdNamErr, "No file can have that name."},
    {paramErr, "A parameter has a value that makes no sense."},
    {permErr, "The file may not be used."},
    {memFullErr, "Out of memory."},
    {userCanceledErr, "User canceled."},
    {procNotFound, "papermill is not answering on the session bus."},
    {connectionInvalid, "The program ended before it answered."},
    {errAECoercionFail, "A parameter has the wrong type."},
    {errAEDescNotFound, "A parameter is missing."},
    {errAEWrongDataType, "A parameter has the wrong type."},
    {errAEEventNotHandled, "The request was refused or is not understood."},
    {errAETimeout, "There was no answer in time."},
};

bool belongs_to_a_list(const scripting_term &term, const scripting_parameter &parameter)
{
    const auto sharing = std::count_if(
        std::begin(term.parameters), std::end(term.parameters), [&](const auto &other) {
            return other.value != scripting_value::none && other.keyword == parameter.keyword;
        });
    return parameter.value == scripting_value::files || sharing > 1;
}

request_value *find_parameter(request *asked, AEKeyword keyword)
{
    for (auto &[name, value] : asked->parameters) {
        if (name == keyword)
            return &value;
    }
    return nullptr;
}

OSErr describe(const request_value &value, AEDesc *result)
{
    if (value.kind == request_value::text)
        return AECreateDesc(typeChar, value.bytes.data(), value.bytes.size(), result);
    if (value.kind == request_value::number)
        return AECreateDesc(typeLongInteger, &value.number_value, sizeof value.number_value,
                            result);
    if (value.kind == request_value::none)
        return AECreateDesc(typeNull, nullptr, 0, result);
    OSErr error = AECreateList(result);
    for (std::size_t i = 0; error == noErr && i < value.items.size(); ++i) {
        AEDesc item;
        error = describe(value.items[i], &item);
        if (error == noErr)
            error = AEPutDesc(result, 0, &item);
        AEDisposeDesc(&item);
    }
    if (error != noErr)
        AEDisposeDesc(result);
    return error;
}

} // namespace

request request_for(const scripting_term &term)
{
    return {term.event_class, term.event_id};
}

void add_parameter(request *asked, const scripting_term &term, std::size_t parameter,
                   const request_value &value)
{
    const scripting_parameter &described = term.parameters[parameter];
    if (!belongs_to_a_list(term, described)) {
        asked->parameters.emplace_back(described.keyword, value);
        return;
    }
    request_value *list = find_parameter(asked, described.keyword);
    if (list == nullptr) {
        asked->parameters.emplace_back(described.keyword, request_value{request_value::list});
        list = &asked->parameters.back().second;
    }
    if (value.kind == request_value::list)
        list->items.insert(list->items.end(), value.items.begin(), value.items.end());
    else
        list->items.push_back(value);
}

OSErr make_event(const request &asked, AppleEvent *event)
{
    OSErr error = AECreateAppleEvent(asked.event_class, asked.event_id, event);
    for (std::size_t i = 0; error == noErr && i < asked.parameters.size(); ++i) {
        AEDesc value;
        error = describe(asked.parameters[i].second, &value);
        if (error == noErr)
            error = AEPutParamDesc(event, asked.parameters[i].first, &value);
        AEDisposeDesc(&value);
    }
    if (error != noErr)
        AEDisposeDesc(event);
    return error;
}

const char *scripting_error_text(OSErr error)
{
    const auto *const found =
        std::find_if(std::begin(sentences), std::end(sentences),
                     [&](const error_sentence &sentence) { return sentence.error == error; });
    return found == std::end(sentences) ? "An error occurred." : found->text;
}
