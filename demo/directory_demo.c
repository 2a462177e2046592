/* The phone book of a phone process, narrated: contacts added and found,
 * a contact group made, renamed and removed (the directory service hears
 * of it), a block list that is exact about numbers, a call in the history,
 * the directory service restarted with the contacts kept, and two cloud
 * phone books (one a two-level menu) fetched and searched. */
#include <json-c/json.h>
#include <phonecore/calllists.h>
#include <phonecore/cloudbook.h>
#include <phonecore/config.h>
#include <phonecore/contacts.h>
#include <signal.h>
#include <spawn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

/* The library traces to standard output as on the phone; the narration
 * goes to standard error so that the two can be told apart. */
#define SAY(...) fprintf(stderr, __VA_ARGS__)

extern char **environ;

static void show_find(const char *text) {
  ContactRecord *hits = NULL;
  int count = 0;
  if (local_contactlist_find(&hits, &count, text) != 0) {
    SAY("   [find] \"%s\": the directory service did not answer\n", text);
    return;
  }
  SAY("   [find] \"%s\": %d found\n", text, count);
  for (int i = 0; i < count; i++)
    SAY("   [find]   id %d %s %s (group %d)\n", hits[i].id, hits[i].name, hits[i].first_number, hits[i].value_a);
  free(hits);
}

static int first_id(const char *text) {
  ContactRecord *hits = NULL;
  int count = 0, id = -1;
  if (local_contactlist_find(&hits, &count, text) == 0 && count > 0) id = hits[0].id;
  free(hits);
  return id;
}

static int contacts_held(void) {
  char *buffer = NULL;
  int count = -1;
  if (local_cantacts_get(&buffer, 0, 97) == 0) {
    memcpy(&count, buffer + 8, sizeof count); /* the head's count */
    free(buffer);
  }
  return count;
}

/* Stops the directory service and starts it again, as the phone's starter
 * would after a crash. */
static int restart_directory_service(void) {
  FILE *f = fopen("/run/phonebox/directoryd.pid", "r");
  int pid = 0;
  if (f == NULL || fscanf(f, "%d", &pid) != 1) {
    if (f) fclose(f);
    return -1;
  }
  fclose(f);
  kill(pid, SIGTERM);
  for (int i = 0; i < 400 && kill(pid, 0) == 0; i++) usleep(5000);
  char path[] = "/phonebox/sim/directoryd", ready[] = "/run/phonebox/directoryd.demo.ready";
  char *argv[] = {path, ready, NULL};
  pid_t child;
  if (posix_spawn(&child, path, NULL, NULL, argv, environ) != 0) return -1;
  struct stat st;
  for (int i = 0; i < 400 && stat(ready, &st) != 0; i++) usleep(5000);
  return 0;
}

/* A book of the box's recording HTTP peer, which serves
 * /run/phonebox/books. */
#define BOOKS "http://127.0.0.1:18080/books/"

static void put_book(const char *name, const char *text) {
  mkdir("/run/phonebox/books", 0755);
  char path[128];
  snprintf(path, sizeof path, "/run/phonebox/books/%s", name);
  FILE *f = fopen(path, "w");
  if (f == NULL) return;
  fputs(text, f);
  fclose(f);
}

static void cloud_books(void) {
  put_book("people.xml",
           "<VornIPPhoneDirectory><DirectoryEntry><Name>\xe5\xbc\xa0\xe4\xb8\x89</Name>"
           "<Telephone>5550301</Telephone></DirectoryEntry><DirectoryEntry><Name>Zhang San</Name>"
           "<Telephone>5550302</Telephone></DirectoryEntry></VornIPPhoneDirectory>");
  put_book("company.xml", "<CiscoIPPhoneMenu><MenuItem><Name>Sales East</Name><URL>" BOOKS
                          "sales.xml</URL></MenuItem></CiscoIPPhoneMenu>");
  put_book("sales.xml",
           "<CiscoIPPhoneMenu><MenuItem><Name>Team</Name><URL>" BOOKS "team.xml</URL></MenuItem></CiscoIPPhoneMenu>");
  put_book("team.xml",
           "<CiscoIPPhoneDirectory><DirectoryEntry><Name>\xe5\xbc\xa0\xe6\x80\x9d</Name>"
           "<Telephone>5550401</Telephone></DirectoryEntry></CiscoIPPhoneDirectory>");
  put_book("broken.xml", "<VornIPPhoneDirectory><DirectoryEntry><Name>Cut");
  json_object *list = json_tokener_parse(
      "{\"MaillistRemotePhoneBook\":{\"data\":["
      "{\"RemotePhoneBookURL\":\"" BOOKS
      "people.xml\",\"RemotePhoneBookName\":\"People\",\"Index\":\"1\"},"
      "{\"RemotePhoneBookURL\":\"" BOOKS
      "company.xml\",\"RemotePhoneBookName\":\"Company\",\"Index\":\"2\"},"
      "{\"RemotePhoneBookURL\":\"" BOOKS "broken.xml\",\"RemotePhoneBookName\":\"Broken\",\"Index\":\"3\"}]}}");
  write_gnl_config_json(CLOUD_BOOK_LIST_FILE, list);
  json_object_put(list);

  CloudBook *books[CLOUD_BOOK_SLOTS] = {0};
  fflush(stdout);
  clound_book_update(books);
  fflush(stdout);
  SAY("   [cloud] fetched: book 1 %d entries (\"%s\", \"%s\": a value ends at its blank), book 2 %d through its "
      "menus, book 3 %d (broken: the type error above)\n",
      books[0] ? books[0]->count : -1, books[0] ? books[0]->entries[0].name : "",
      books[0] ? books[0]->entries[1].name : "", books[1] ? books[1]->count : -1, books[2] ? books[2]->count : -1);
  ContactRecord hits[CLOUD_BOOK_SEARCH_ROOM];
  int count = 0;
  api_cloud_search("zs", hits, &count);
  SAY("   [cloud] \"zs\": %d found across the books:", count);
  for (int i = 0; i < count; i++) SAY(" %s %s", hits[i].name, hits[i].phone_number);
  SAY("\n");
  for (int i = 0; i < CLOUD_BOOK_SLOTS; i++) free(books[i]);
  SAY("   [cloud] the holder is told to update: %d\n", clound_book_update_now());
}

int main(void) {
  const char *zhang_san = "\xe5\xbc\xa0\xe4\xb8\x89"; /* 张三 */
  const int first = local_cantacts_add(zhang_san, "5550123", "", "", "", 0, 0, 0);
  const int second = local_cantacts_add("Zhang Wei", "5550456", "", "", "", 0, 0, 0);
  SAY("   [contacts] add %s 5550123 and Zhang Wei 5550456: %d %d\n", zhang_san, first, second);
  show_find("zhang");
  show_find("\xe5\xbc\xa0"); /* 张 */
  char name[CONTACT_NAME_ROOM];
  if (local_contactlist_find_uname_by_number(name, "5550456") == 0) SAY("   [contacts] 5550456 is %s\n", name);

  remove("/appconfigs/voipGroupList.bin");
  SAY("   [group] add \"family\": %d, add \"whitelist\": %d (reserved)\n", local_cantacts_group_add("family", 1),
      local_cantacts_group_add("whitelist", 1));
  GroupRecord *groups = NULL;
  int count = 0;
  if (local_grouplist_get(&groups, &count) == 0)
    SAY("   [group] %d group: id %d \"%s\"\n", count, groups[0].id, groups[0].name);
  local_cantacts_chg(first_id("Zhang Wei"), "Zhang Wei", "5550456", "", "", "", groups ? groups[0].id : 3, 0, 0);
  show_find("wei");
  SAY("   [group] rename to \"relatives\": %d\n", chg_cantacts_group_byid(groups ? groups[0].id : 3, "relatives", 2));
  SAY("   [group] remove it: %d; the directory service hears and clears the group\n",
      del_cantacts_group_byid(groups ? groups[0].id : 3));
  free(groups);
  show_find("wei");

  local_blacklist_add("spam", "5550100", "", "", "", 0, 0, 0);
  ContactRecord *near = NULL;
  int near_count = 0;
  local_blacklist_find(&near, &near_count, "555010");
  free(near);
  SAY("   [block] 5550100 blocked: %s\n", local_contactlist_number_is_in_blacklist("5550100") == 0 ? "yes" : "no");
  SAY("   [block] 555010: the service's find returned %d record(s), blocked: %s\n", near_count,
      local_contactlist_number_is_in_blacklist("555010") == 0 ? "yes" : "no");

  SAY("   [history] a missed call from 5550456: %d\n",
      local_history_list_add(1, 0, 2, 1700000000, 0, 1, "Zhang Wei", "5550456", 1, "", 0));

  SAY("   [restart] %d contacts held; directory service restarted: %d\n", contacts_held(), restart_directory_service());
  SAY("   [restart] after the restart: %d contacts kept\n", contacts_held());

  cloud_books();
  return 0;
}
