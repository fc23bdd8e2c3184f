// The file list of a merge as words of the shell: what the user types, and what the list shows.
#ifndef PAPERMILL_DIALOGS_MERGE_WORDS_H
#define PAPERMILL_DIALOGS_MERGE_WORDS_H

#include <string>
#include <vector>

struct merge_word {
    std::string word; // as it stands in the text, with its quotes
    std::string name; // the name that the shell makes of it; a pattern stays one
};

// Takes the text apart. False, and *words empty, for what is not only names and patterns: a quote
// that is not closed, a variable, a command.
bool split_words(const std::string &text, std::vector<merge_word> *words);

std::string join_words(const std::vector<merge_word> &words); // with blanks between

// The word for the file as a run in the folder finds it: by its name there when it lies in the
// folder or below, else by its path.
merge_word word_for(const std::string &path, const std::string &folder);

#endif
