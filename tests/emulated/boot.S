# From the reset of the processor to start() in 64-bit mode; the ways into the kernel and out of it.

# Where a processor begins.
  .section .reset, "ax"
  .code16
  .globl reset
reset:
  ljmp $0xF000, $(real_mode - 0xF0000)
  .balign 16, 0xFF

  .text
real_mode:
  cli
  lgdtl %cs:(gdt_pointer - 0xF0000)
  mov %cr0, %eax
  or $1, %al                           # protected mode
  mov %eax, %cr0
  ljmpl $8, $protected_mode

  .code32
protected_mode:
  mov $24, %eax
  mov %eax, %ds
  mov %eax, %es
  mov %eax, %ss
  # One gigabyte, mapped to itself by pages of 2 MB.
  movl $(directory_pointers + 3), page_map
  movl $(page_directory + 3), directory_pointers
  xor %ecx, %ecx
1: mov %ecx, %eax
  shl $21, %eax
  or $0x83, %eax                       # present, writable, large
  mov %eax, page_directory(,%ecx,8)
  inc %ecx
  cmp $512, %ecx
  jne 1b
  mov $page_map, %eax
  mov %eax, %cr3
  mov $0x620, %eax                     # PAE, OSFXSR, OSXMMEXCPT
  mov %eax, %cr4
  mov $0xC0000080, %ecx                # EFER
  mov $0x101, %eax                     # SCE, LME
  xor %edx, %edx
  wrmsr
  mov $0x80010003, %eax                # PG, WP, MP, PE; caches on
  mov %eax, %cr0
  ljmp $16, $long_mode

  .code64
long_mode:
  mov $stack_top, %esp
  call start
  ud2

# enter(address, stack): to the program. It has no privileges to lose: everything runs in ring 0.
  .globl enter
enter:
  mov %rsi, %rsp
  xor %edx, %edx                       # no function for it to call at its end
  jmp *%rdi

# What the program's instruction "syscall" jumps to. Only %rax changes, beside %rcx and
# %r11, which the instruction itself overwrites.
  .globl system_call_entry
system_call_entry:
  mov %rsp, program_stack
  mov $system_call_stack_top, %esp
  push %rcx                            # where to go on
  push %r11                            # the flags
  push %rdi
  push %rsi
  push %rdx
  push %r8
  push %r9
  push %r10
  mov %rdx, %rcx
  mov %rsi, %rdx
  mov %rdi, %rsi
  mov %rax, %rdi
  call system_call                     # (number, the first three arguments)
  pop %r10
  pop %r9
  pop %r8
  pop %rdx
  pop %rsi
  pop %rdi
  pop %r11
  pop %rcx
  push %r11                            # not on the program's stack, which may be in use below its end
  popfq
  mov program_stack, %rsp
  jmp *%rcx

# One entry of 16 bytes for each exception. Some push an error code themselves.
  .globl fault_entries
  .balign 16
fault_entries:
  .set vector, 0
  .rept 32
  .balign 16
  .if !(vector == 8 || (vector >= 10 && vector <= 14) || vector == 17 || vector == 21)
  push $0
  .endif
  push $vector
  jmp 2f
  .set vector, vector + 1
  .endr
2: mov %rsp, %rdi
  cld
  jmp fault

  .balign 8
gdt:
  .quad 0, 0x00CF9A000000FFFF, 0x00AF9A000000FFFF, 0x00CF92000000FFFF  # none, code of 32 and 64 bits, data
gdt_pointer:
  .word 31
  .long gdt

  .bss
  .balign 4096
page_map: .skip 4096
directory_pointers: .skip 4096
  .globl page_directory
page_directory: .skip 4096
  .skip 65536
stack_top:
  .skip 65536
system_call_stack_top:
program_stack: .skip 8

  .section .note.GNU-stack, "", @progbits
