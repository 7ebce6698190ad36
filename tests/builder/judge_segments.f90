! Writes or reads, with gfortran's own run-time, a record of n bytes 1, 2, 3, ... (modulo 128) and the record "end!"
! behind it. Compiled with a small limit for segments. Usage: judge_segments write|read N FILE
program judge_segments
  implicit none
  character(len=8) :: verb, number
  character(len=1000) :: file
  character(len=4) :: last
  integer :: n, k
  integer(kind=1), allocatable :: bytes(:), expected(:)

  call get_command_argument(1, verb)
  call get_command_argument(2, number)
  call get_command_argument(3, file)
  read (number, *) n
  expected = [(int(mod(k, 128), 1), k=1, n)]

  if (verb == 'write') then
    open (1, file=file, form='unformatted', access='sequential', status='new')
    write (1) expected
    write (1) 'end!'
  else
    open (1, file=file, form='unformatted', access='sequential', status='old', action='read')
    allocate (bytes(n))
    read (1) bytes
    read (1) last
    if (any(bytes /= expected) .or. last /= 'end!') error stop 'contents differ'
    read (1, iostat=k)
    if (k == 0) error stop 'there is more'
  end if
  close (1)
end program
