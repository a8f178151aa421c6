// SPDX-License-Identifier: MIT
// Signs in, prints the user, and signs out: sign_in [CA-FILE localhost:PORT], the two values that
// orxaccount-devserver prints for the development service on this machine.
#define _POSIX_C_SOURCE 200809L

#include <ORXAccount/orxaccount.h>
#include <semaphore.h>
#include <stdio.h>

struct outcome {
  sem_t ended;
  int failed;
};

// Runs on a thread of the library.
static void signed_in(void* context, const orx_result* result, const orx_error* error) {
  struct outcome* outcome = context;
  const orx_user* user = orx_result_user(result);
  if (error != NULL) {
    fprintf(stderr, "%s %d: %s\n", orx_error_domain(error), (int)orx_error_code(error),
            orx_error_text(error));
  } else {
    printf("Hello %s\n%s\n", orx_user_text(user, ORX_CUS_ID), orx_user_json(user));
  }
  outcome->failed = error != NULL;
  sem_post(&outcome->ended);
}

// Whether a call was refused.
static int refused(orx_error* error) {
  if (error == NULL) return 0;
  fprintf(stderr, "%s\n", orx_error_text(error));
  orx_error_release(error);
  return 1;
}

int main(int argc, char** argv) {
  const char* const identity[] = {ORX_OPENID_TYPE, "example", ORX_OPENID_UID, "1234567", NULL};
  struct outcome outcome;
  orx_result* parameters = NULL;
  if (refused(orx_set_option(ORX_OPTION_IDENTIFIER, "com.example.host"))) return 1;
  if (argc == 3) {
    if (refused(orx_set_option(ORX_OPTION_CA_FILE, argv[1])) ||
        refused(orx_set_servers(argv[2], NULL, NULL, NULL))) {
      return 1;
    }
  }
  if (refused(orx_initialize("demo-app", "demo-key", 0))) return 1;
  if (refused(orx_json_object(identity, &parameters))) return 1;
  sem_init(&outcome.ended, 0, 0);
  if (refused(orx_sign_in_openid(orx_result_json(parameters), signed_in, &outcome))) return 1;
  orx_result_release(parameters);
  while (sem_wait(&outcome.ended) != 0) {
  }
  if (refused(orx_sign_out())) return 1;
  return outcome.failed;
}
