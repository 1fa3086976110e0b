#pragma once

// The tables behind L and LSys: fixed data, compiled into the client.

#include <span>

// One translated text. The English text is the key; a null entry means the
// language has no translation and the English stays.
struct TranslationRow {
    const char* en;
    const char* de;
    const char* fr;
    const char* es;
};

// A system note with a name or a count inside: a regular expression over the
// whole English note and, per language, a template where "$1" and up stand
// for the captured groups. A null template skips the pattern for that language.
struct SysNoteTemplate {
    const char* pattern;
    const char* de;
    const char* fr;
    const char* es;
};

std::span<const TranslationRow> translationRows();
// The texts of the agent session views, kept in a table of their own.
std::span<const TranslationRow> agentViewTranslationRows();
// The texts of joining by code and by link.
std::span<const TranslationRow> joinTranslationRows();
// The texts of groups, people and profiles.
std::span<const TranslationRow> groupsTranslationRows();
// The texts of message bubbles and the composer's pictures and files.
std::span<const TranslationRow> bubbleTranslationRows();
// In the order they are tried.
std::span<const SysNoteTemplate> sysNoteTemplates();
