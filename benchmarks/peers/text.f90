! Text files the way a Fortran program reads and writes them: list-directed reads, formatted writes.
module text_peers
  use iso_c_binding
  implicit none
contains

  ! One value to a line, as model files have them.
  subroutine fortran_read_model(name, length, n, x) bind(c)
    integer(c_int), value :: length, n
    character(kind=c_char), intent(in) :: name(length)
    real(c_double), intent(out) :: x(n)
    integer :: i
    open (1, file=text_of(name), status='old', action='read')
    do i = 1, n
      read (1, *) x(i)
    end do
    close (1)
  end subroutine

  ! Three columns behind three header lines, as location files have them.
  subroutine fortran_read_locations(name, length, n, x) bind(c)
    integer(c_int), value :: length, n
    character(kind=c_char), intent(in) :: name(length)
    real(c_double), intent(out) :: x(3, n)
    integer :: i
    open (1, file=text_of(name), status='old', action='read')
    read (1, *)
    read (1, *)
    read (1, *)
    do i = 1, n
      read (1, *) x(:, i)
    end do
    close (1)
  end subroutine

  ! Predicted data, without the header.
  subroutine fortran_write_data(name, length, n, x, y, z, d) bind(c)
    integer(c_int), value :: length, n
    character(kind=c_char), intent(in) :: name(length)
    real(c_double), intent(in) :: x(n), y(n), z(n), d(n)
    integer :: i
    open (22, file=text_of(name), status='unknown', action='write')
    do i = 1, n
      write (22, '(3es17.9,2x,es14.6)') x(i), y(i), z(i), d(i)
    end do
    close (22)
  end subroutine

  pure function text_of(characters) result(text)
    character(kind=c_char), intent(in) :: characters(:)
    character(size(characters)) :: text
    integer :: i
    do i = 1, size(characters)
      text(i:i) = characters(i)
    end do
  end function
end module
