/*
 * Asks the agent's core about the data model, as a management server would.
 *
 *     ask [--socket PATH] names PATH          what is one level below a path
 *     ask [--socket PATH] get PATH            values, of a parameter or below a partial path
 *     ask [--socket PATH] set NAME VALUE      sets a parameter, whose type it asks for first
 *     ask [--socket PATH] add OBJECT          adds an instance to a table
 *     ask [--socket PATH] del OBJECT          deletes an instance
 *
 * The exit status is 0, 1 if the request was refused, or 2 if it could not be made.
 */

#include <stdio.h>
#include <string.h>
#include <vesk/runtime.h>
#include <vesk/vesk.h>

enum { WAIT_MS = 60000 };

static const char kGetValues[] = "cwmp.rpc.GetParameterValues";

static vk_client *client;

/* A stream to standard output. */
static vk_error write_out(vk_stream *stream, const void *bytes, uint32_t count) {
  (void)stream;
  return fwrite(bytes, 1, count, stdout) == count ? VK_EOK : VK_EIO;
}

static void print_value(const vk_value *value) {
  vk_stream out;
  vk_stream_init(&out, write_out, NULL);
  vk_value_write(&out, value);
}

/* Prints the leaves below a node with their full names; objects without members too. */
static void print_tree(const vk_value *value, const char *name) {
  const vk_item *item = value->type == VK_TYPE_OBJECT ? vk_object_item_first(value) : NULL;
  if (value->type != VK_TYPE_OBJECT) {
    printf("  %s = ", name);
    print_value(value);
    putchar('\n');
  } else if (item == NULL) {
    printf("  %s.\n", name);
  }
  for (; item != NULL; item = vk_item_next(item)) {
    char below[4353];
    snprintf(below, sizeof below, "%s%s%s", name, *name == '\0' ? "" : ".", item->id);
    print_tree(item, below);
  }
}

static const vk_value *member(const vk_value *object, const char *name, vk_type type) {
  const vk_value *found = object->type == VK_TYPE_OBJECT ? vk_object_find_item(object, name) : NULL;
  return found != NULL && found->type == type ? found : NULL;
}

static void print_fault(const vk_value *fault) {
  const vk_value *code = member(fault, "FaultCode", VK_TYPE_UNSIGNEDINT);
  const vk_value *text = member(fault, "FaultString", VK_TYPE_STRING);
  const vk_value *name = member(fault, "ParameterName", VK_TYPE_STRING);
  if (name != NULL) printf("  %s:", name->payload.text);
  if (code != NULL) printf("  fault %u", code->payload.u32);
  if (text != NULL) printf(", %s", text->payload.text);
  putchar('\n');
}

static void print_refusal(uint32_t status, const vk_value *answer) {
  printf("  refused: %s\n", vk_strerror(status));
  print_fault(answer);
  const vk_value *faults = member(answer, "Faults", VK_TYPE_ARRAY);
  const vk_item *fault = faults == NULL ? NULL : vk_array_item_first(faults);
  for (; fault != NULL; fault = vk_item_next(fault)) print_fault(fault);
}

/* Makes a request and tells of a refusal. */
static int call(const char *path, vk_value *request) {
  const uint32_t status = vk_client_call(client, path, 0, request, WAIT_MS);
  if (status != VK_EOK) print_refusal(status, request);
  return status == VK_EOK ? 0 : 1;
}

static vk_value *new_request(void) {
  return vk_object_new_with_policy(vk_default_allocator(), VK_POLICY_ORDERED);
}

/* A new request with a string in it. */
static vk_value *request_with(const char *name, const char *text) {
  vk_value *request = new_request();
  if (request == NULL || vk_object_set_string(request, name, text) != VK_EOK) {
    vk_value_delete(request);
    return NULL;
  }
  return request;
}

static int names(const char *path, const char *unused) {
  (void)unused;
  vk_value *request = request_with("ParameterPath", path);
  if (request == NULL || vk_object_set_bool(request, "NextLevel", 1) != VK_EOK) return 2;
  const int result = call("cwmp.rpc.GetParameterNames", request);
  const vk_value *list = member(request, "ParameterList", VK_TYPE_OBJECT);
  if (result == 0 && list != NULL) print_tree(list, "");
  vk_value_delete(request);
  return result;
}

/* A request for the values at a path. */
static vk_value *request_for(const char *path) {
  vk_value *request = new_request();
  vk_value *paths = request == NULL ? NULL : vk_object_init_array(request, "ParameterNames");
  vk_value *name = paths == NULL ? NULL : vk_array_add_item(paths);
  if (name != NULL && vk_value_set_string(name, path) == VK_EOK) return request;
  vk_value_delete(request);
  return NULL;
}

static int get(const char *path, const char *unused) {
  (void)unused;
  vk_value *request = request_for(path);
  if (request == NULL) return 2;
  const int result = call(kGetValues, request);
  const vk_value *list = member(request, "ParameterList", VK_TYPE_OBJECT);
  if (result == 0 && list != NULL) print_tree(list, "");
  vk_value_delete(request);
  return result;
}

/* The type that a parameter has now; a string's where it has none. */
static vk_type type_of(const char *name) {
  vk_value *request = request_for(name);
  if (request == NULL) return VK_TYPE_STRING;
  const uint32_t status = vk_client_call(client, kGetValues, 0, request, WAIT_MS);
  const vk_value *list = status == VK_EOK ? member(request, "ParameterList", VK_TYPE_OBJECT) : NULL;
  const vk_value *leaf = list == NULL ? NULL : vk_value_find_by_path(list, name);
  const vk_type type = leaf == NULL ? VK_TYPE_STRING : leaf->type;
  vk_value_delete(request);
  return type;
}

static int set(const char *name, const char *text) {
  const vk_type type = type_of(name);
  vk_value *request = new_request();
  vk_value *list = request == NULL ? NULL : vk_object_init_array(request, "ParameterList");
  vk_value *element = list == NULL ? NULL : vk_array_add_item(list);
  if (element == NULL) return 2;
  vk_object_init_with_policy(element, VK_POLICY_ORDERED);
  vk_value *value = NULL;
  if (vk_object_set_string(element, "Name", name) == VK_EOK) {
    value = vk_object_init_item(element, "Value");
  }
  if (value == NULL || vk_value_set_from_string(value, type, text) != VK_EOK) {
    printf("  %s is no %s\n", text, vk_type_to_string(type));
    vk_value_delete(request);
    return 2;
  }
  const int result = call("cwmp.rpc.SetParameterValues", request);
  if (result == 0) printf("  set\n");
  vk_value_delete(request);
  return result;
}

static int change(const char *rpc, const char *object) {
  vk_value *request = request_with("ObjectName", object);
  if (request == NULL) return 2;
  const int result = call(rpc, request);
  const vk_value *number = member(request, "InstanceNumber", VK_TYPE_UNSIGNEDINT);
  if (result == 0 && number != NULL) printf("  added instance %u\n", number->payload.u32);
  if (result == 0 && number == NULL) printf("  deleted\n");
  vk_value_delete(request);
  return result;
}

static int add(const char *object, const char *unused) {
  (void)unused;
  return change("cwmp.rpc.AddObject", object);
}

static int del(const char *object, const char *unused) {
  (void)unused;
  return change("cwmp.rpc.DeleteObject", object);
}

static const struct command {
  const char *name;
  int arguments;
  int (*run)(const char *path, const char *value);
} commands[] = {
    {"names", 1, names}, {"get", 1, get}, {"set", 2, set}, {"add", 1, add}, {"del", 1, del}};

static int run(int argc, char **argv, const char *socket) {
  for (size_t i = 0; i < sizeof commands / sizeof commands[0]; ++i) {
    if (argc == 0 || strcmp(argv[0], commands[i].name) != 0) continue;
    if (argc - 1 != commands[i].arguments) break;
    const vk_error error = vk_client_open(socket, 5000, &client);
    if (error != VK_EOK) {
      fprintf(stderr, "ask: the core at %s cannot be asked: %s\n", socket, vk_strerror(error));
      return 2;
    }
    const int result = commands[i].run(argv[1], argc > 2 ? argv[2] : NULL);
    vk_client_close(client);
    return result;
  }
  fprintf(stderr, "usage: ask [--socket PATH] names|get|add|del PATH, or set NAME VALUE\n");
  return 2;
}

int main(int argc, char **argv) {
  const char *socket = vk_ipc_socket_path;
  int first = 1;
  if (argc > 2 && strcmp(argv[1], "--socket") == 0) {
    socket = argv[2];
    first = 3;
  }
  return run(argc - first, argv + first, socket);
}
